#include "tools/child.h"

#include "tools/exits.h"
#include "tools/files.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vnt {

// In the child.  It leaves by _exit(): what runs at the end of the parent is not its own.
void child::begin(const std::function<int()> &work, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(EXIT_INTERNAL); // it ended before the line above
    setpgid(0, 0);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (dup2(nothing, STDIN_FILENO) < 0 || dup2(outfd, STDOUT_FILENO) < 0 ||
        dup2(errfd, STDERR_FILENO) < 0)
        _exit(EXIT_INTERNAL);
    const int status = work();
    fflush(stdout);
    _exit(status);
}

child::child(const std::function<int()> &work)
    : pid(-1), outfd(memfd_create("out", MFD_CLOEXEC)), errfd(memfd_create("err", MFD_CLOEXEC))
{
    const pid_t parent = getpid();
    if (outfd >= 0 && errfd >= 0) pid = fork();
    if (pid == 0) begin(work, parent);
    if (pid > 0) return;
    const std::string why = strerror(errno);
    if (outfd >= 0) close(outfd);
    if (errfd >= 0) close(errfd);
    throw failure{EXIT_INTERNAL, "starting a process: " + why};
}

child::~child()
{
    if (pid > 0) {
        kill(pid, SIGKILL);
        while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    close(outfd);
    close(errfd);
}

bool child::ended()
{
    int status;
    if (pid > 0 && waitpid(pid, &status, WNOHANG) == pid) {
        pid = -1;
        result = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
    return pid < 0;
}

static std::string text_of(int fd)
{
    std::string text;
    lseek(fd, 0, SEEK_SET);
    file_readall(fd, &text);
    return text;
}

std::string child::out() const
{
    return text_of(outfd);
}

std::string child::err() const
{
    return text_of(errfd);
}

} // namespace vnt
