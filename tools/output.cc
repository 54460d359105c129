#include "tools/output.h"

#include "tools/files.h"

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace vnt {

void output_begin()
{
    signal(SIGPIPE, SIG_IGN); // a write without a reader fails, as on a full disk
    signal(SIGXFSZ, SIG_IGN); // and so does one beyond the limit of a file's size
    // open() takes the lowest free descriptor.  Each is opened for the direction that it is not
    // used in, so that using it fails.
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++)
        if (fcntl(fd, F_GETFD) < 0) open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

void output_result(const std::string &text)
{
    errno = 0;
    fwrite(text.data(), 1, text.size(), stdout);
    if (fflush(stdout) != 0 || ferror(stdout)) file_fail("standard output");
}

void output_note(const std::string &text)
{
    fwrite(text.data(), 1, text.size(), stderr);
}

std::string output_harmless(std::string text)
{
    for (char &c : text)
        if ((c >= '\0' && c < ' ' && c != '\n' && c != '\t') || c == '\177') c = '?';
    return text;
}

void output_complaint(const std::string &message)
{
    output_note("vntsolve: " + message + "\n");
}

static void complain_late(const std::stop_token &stop, double seconds, const std::string &message)
{
    std::mutex lock;
    std::condition_variable_any stopped;
    std::unique_lock hold(lock);
    stopped.wait_for(hold, stop, std::chrono::duration<double>(seconds), [] { return false; });
    if (!stop.stop_requested()) output_complaint(message);
}

late_complaint::late_complaint(double seconds, std::string message)
    : waiting(complain_late, seconds, std::move(message))
{
}

} // namespace vnt
