#include "remote/server/reaper.h"

#include "remote/base/clock.h"
#include "remote/base/holders.h"
#include "remote/base/log.h"
#include "remote/server/owned.h"
#include "remote/server/server.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <sys/wait.h>

namespace vnt {

// How long the last words of workers that have ended may take to reach their clients.
static constexpr int DRAIN_TIME = 1000;

// Waits for the polling interval.  Returns true when the server is to end.  The nanoseconds are
// not carried into the seconds: a deadline that is none for that reason counts as passed.
static bool await_stop(server *s)
{
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += s->options.polling / 1000;
    deadline.tv_nsec += s->options.polling % 1000 * 1000000;
    if (sem_timedwait(&s->wakeup, &deadline) == 0) return true;
    if (errno != ETIMEDOUT || s->options.polling == 0) clock_sleep(0.001); // it did not wait
    return false;
}

// Takes the record of a process out of the list; null when there is none.
static server_child *unlink_child(server *s, pid_t id)
{
    mutex_holder hold(&s->lock);
    for (server_child **link = &s->children; *link != nullptr; link = &(*link)->next) {
        server_child *c = *link;
        if (c->id != id) continue;
        *link = c->next;
        return c;
    }
    return nullptr;
}

// From here on nobody kills the process: its id may soon be another's.
static void mark_reaped(server_child *c)
{
    mutex_holder hold(&c->lock);
    c->reaped = true;
}

static void teardown(server_child *c)
{
    int id = c->id;
    log_line(LOG_DEBUG, "Reaping child %d\n", id);
    log_line(LOG_DEBUG, "Waiting for threads\n");
    child_destroy(c);
    log_line(LOG_DEBUG, "Child %d is dead\n", id);
    log_line(LOG_DEBUG, "Child %d cleaned.\n", id);
}

// Tears down the ended workers.  All of them have the same time to drain, in milliseconds.
static void teardown_all(server *s, int draintime)
{
    int64_t deadline = clock_ms() + draintime;
    for (server_child *c = s->ended; c != nullptr; c = c->next)
        child_drain(c, deadline);
    while (s->ended != nullptr) {
        server_child *c = s->ended;
        s->ended = c->next;
        teardown(c);
    }
}

// One ended process, not collected yet; 0 when there is none.
static pid_t peek(void)
{
    siginfo_t info = {};
    int rc = waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT);
    return rc == 0 ? info.si_pid : 0;
}

static void collect(server *s)
{
    for (pid_t id = peek(); id != 0; id = peek()) {
        server_child *c = unlink_child(s, id);
        if (c != nullptr) mark_reaped(c);
        waitpid(id, nullptr, 0);
        log_line(LOG_DEBUG, "Child %d reaped.\n", id);
        if (c == nullptr) continue; // not ours to know
        child_stop(c);
        c->next = s->ended;
        s->ended = c;
    }
    teardown_all(s, DRAIN_TIME);
}

static void end_child(server_child *c)
{
    log_line(LOG_DEBUG, "Reap %d\n", c->id);
    child_stop(c);
    child_signal(c, SIGHUP);
    child_signal(c, SIGKILL);
}

static void await_end(server_child *c)
{
    siginfo_t info;
    while (waitid(P_PID, c->id, &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    mark_reaped(c);
    waitpid(c->id, nullptr, 0);
}

// All workers have ended, as far as the list is concerned, and no more clients come.
static void take_children(server *s)
{
    mutex_holder hold(&s->lock);
    owned_close(s->listenfd);
    s->listenfd = -1;
    s->ended = s->children;
    s->children = nullptr;
}

// Ends all workers and the process.  The main thread sleeps, or is about to: it forks under the
// server's lock and looks at the stop flag first, so that no worker comes after the list is
// taken.  Its lock and the semaphore are left standing, as it may be looking at them still.
[[noreturn]] static void server_cleanup(server *s)
{
    take_children(s);
    log_line(LOG_DEBUG, "Server is shutting down\n");
    log_line(LOG_INFO, "Server dies, reaping all children.\n");
    for (server_child *c = s->ended; c != nullptr; c = c->next)
        end_child(c);
    for (server_child *c = s->ended; c != nullptr; c = c->next)
        await_end(c);
    teardown_all(s, 0);
    log_line(LOG_INFO, "Server stopped.\n");
    options_release(&s->options);
    exit(s->exitstatus);
}

void *reaper_thread(void *server_)
{
    server *s = static_cast<server *>(server_);
    while (!s->stop && !await_stop(s))
        collect(s);
    server_cleanup(s);
}

} // namespace vnt
