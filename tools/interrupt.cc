#include "tools/interrupt.h"

#include "tools/exits.h"

#include <csignal>
#include <unistd.h>

namespace vnt {

static volatile int interrupted;

// The handlers read these, which never change once the handlers are set.
static std::string farewelltext, resulttext;

static void handle(int signal, void (*handler)(int), int flags)
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags | SA_RESTART;
    sigaction(signal, &action, nullptr);
}

// Nothing can be done about a text that cannot be written.
static void print(int fd, const std::string &text)
{
    ssize_t written = write(fd, text.data(), text.size());
    static_cast<void>(written);
}

static void on_stop(int)
{
    alarm(0);
    interrupted = 1;
}

static void on_leave(int)
{
    print(STDERR_FILENO, farewelltext);
    handle(SIGINT, on_stop, static_cast<int>(SA_RESETHAND));
    alarm(2);
}

static void on_time(int)
{
    print(STDOUT_FILENO, resulttext);
    _exit(EXIT_INTERRUPTED);
}

volatile int *interrupt_watch()
{
    handle(SIGINT, on_stop, static_cast<int>(SA_RESETHAND));
    return &interrupted;
}

volatile int *interrupt_watch(const std::string &farewell, const std::string &result)
{
    farewelltext = farewell;
    resulttext = result;
    handle(SIGALRM, on_time, 0);
    handle(SIGINT, on_leave, 0);
    return &interrupted;
}

void interrupt_release()
{
    signal(SIGINT, SIG_DFL);
    alarm(0);
}

} // namespace vnt
