#include "remote/server/signals.h"

#include "remote/base/log.h"
#include "remote/server/server.h"

namespace vnt {

static server *served;

static void sighup_handler(int, siginfo_t *, void *)
{
    served->stop = 1;
    sem_post(&served->wakeup);
}

static void sigusr2_handler(int, siginfo_t *, void *)
{
    served->draining = 1;
    sem_post(&served->wakeup);
}

static void sigchild_handler(int, siginfo_t *, void *)
{
    sem_post(&served->wakeup);
}

static constexpr int stop_signals[] = {SIGHUP, SIGINT, SIGTERM};
static constexpr int ignored_signals[] = {SIGPIPE, SIGXFSZ, SIGUSR1};

static void signals_own(sigset_t *set)
{
    sigemptyset(set);
    sigaddset(set, SIGCHLD);
    sigaddset(set, SIGUSR2);
    for (int signal : stop_signals)
        sigaddset(set, signal);
}

static void signal_handle(int signal, void (*handler)(int, siginfo_t *, void *), int flags)
{
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO | flags;
    if (sigaction(signal, &action, nullptr) != 0) log_syscall("sigaction");
}

void signals_block(sigset_t *before)
{
    sigset_t set;
    signals_own(&set);
    pthread_sigmask(SIG_BLOCK, &set, before);
}

void signals_catch(server *s)
{
    served = s;
    signal_handle(SIGCHLD, sigchild_handler, SA_RESTART);
    signal_handle(SIGUSR2, sigusr2_handler, SA_RESTART);
    for (int signal : stop_signals)
        signal_handle(signal, sighup_handler, 0);
    for (int s : ignored_signals)
        signal(s, SIG_IGN);
}

void signals_take_children(void)
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGCHLD);
    sigaddset(&set, SIGUSR2);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void signals_open_mask(sigset_t *mask)
{
    pthread_sigmask(SIG_SETMASK, nullptr, mask);
    for (int signal : stop_signals)
        sigdelset(mask, signal);
}

void signals_take(void)
{
    sigset_t open, before;
    signals_open_mask(&open);
    pthread_sigmask(SIG_SETMASK, &open, &before);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void signals_reset(void)
{
    for (int s : {SIGUSR1, SIGUSR2})
        signal(s, SIG_DFL);
    signal(SIGCHLD, SIG_DFL);
    for (int s : stop_signals)
        signal(s, SIG_DFL);
    sigset_t set;
    signals_own(&set);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

} // namespace vnt
