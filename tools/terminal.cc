#include "tools/terminal.h"

#include <csignal>
#include <cstdio>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace vnt {

static volatile sig_atomic_t ended, resized;
static termios before;
static bool keys; // whether standard input is a terminal

static void signal_take(int number)
{
    (number == SIGWINCH ? resized : ended) = 1;
}

// The signals are open only while the program waits.
static sigset_t signals()
{
    sigset_t set;
    sigemptyset(&set);
    for (int number : {SIGINT, SIGTERM, SIGHUP, SIGWINCH})
        sigaddset(&set, number);
    return set;
}

terminal::terminal()
{
    const sigset_t set = signals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    for (int number : {SIGINT, SIGTERM, SIGHUP, SIGWINCH})
        signal(number, signal_take);
    keys = tcgetattr(STDIN_FILENO, &before) == 0;
    termios raw = before;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    if (keys) tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    fputs("\033[?1049h\033[?25l", stdout); // the other screen, no cursor
}

terminal::~terminal()
{
    fputs("\033[?25h\033[?1049l", stdout);
    fflush(stdout);
    if (keys) tcsetattr(STDIN_FILENO, TCSANOW, &before);
    const sigset_t set = signals();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

static winsize size_get()
{
    winsize size = {24, 80, 0, 0};
    winsize real;
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &real) == 0 && real.ws_col > 0 && real.ws_row > 0)
        size = real;
    return size;
}

int terminal::width() const
{
    return size_get().ws_col;
}

int terminal::height() const
{
    return size_get().ws_row;
}

// Each line is written over what stood there; the screen is not emptied first, which would flicker.
void terminal::draw(const std::string &text) const
{
    std::string screen = "\033[H";
    for (char c : text)
        screen += c == '\n' ? "\033[K\r\n" : std::string(1, c);
    screen += "\033[J";
    fputs(screen.c_str(), stdout);
    fflush(stdout);
}

terminal::event terminal::wait(double seconds) const
{
    sigset_t open;
    pthread_sigmask(SIG_SETMASK, nullptr, &open);
    for (int number : {SIGINT, SIGTERM, SIGHUP, SIGWINCH})
        sigdelset(&open, number);
    timespec time;
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>((seconds - static_cast<double>(time.tv_sec)) * 1e9);
    pollfd input = {keys ? STDIN_FILENO : -1, POLLIN, 0};
    const int ready = ppoll(&input, 1, &time, &open);
    char key = 0;
    if (ready > 0 && read(STDIN_FILENO, &key, 1) <= 0) ended = 1; // the terminal has gone
    if (ended || key == 'q' || key == 'Q') return QUIT;
    if (!resized) return TIME;
    resized = 0;
    return RESIZED;
}

} // namespace vnt
