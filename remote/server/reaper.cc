#include "remote/server/reaper.h"

#include "remote/base/clock.h"
#include "remote/base/holders.h"
#include "remote/base/log.h"
#include "remote/server/process.h"
#include "remote/server/server.h"
#include "remote/server/signals.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <sys/socket.h>
#include <sys/wait.h>

namespace vnt {

// How long a pass of the reaper waits for the last answers of ended workers to reach their clients.
// The next passes wait for the others.
static constexpr int DRAIN_TIME = 1000;

// Waits for the end of a worker, for the polling interval or for the next look around.  Sets
// whether a worker may have ended.  Returns true when the server is to end.  It is meant that the
// nanoseconds are not carried into the seconds: sem_timedwait() rejects such a deadline at once,
// which counts as the end of the interval.
static bool stop_await(server *s, bool *ended)
{
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    const int interval = static_cast<int>(std::min<uint32_t>(s->options.polling, SOCKET_LOOK));
    deadline.tv_sec += interval / 1000;
    deadline.tv_nsec += interval % 1000 * 1000000;
    *ended = sem_timedwait(&s->wakeup, &deadline) == 0;
    if (*ended) {
        while (sem_trywait(&s->wakeup) == 0) {
        } // one pass collects all that have ended
        return s->stop;
    }
    if (errno != ETIMEDOUT || s->options.polling == 0) clock_sleep(0.001); // it did not wait
    return false;
}

// Adds what has moved since the last time.  Under the server's lock.
static void traffic_count(server *s, server_child *c)
{
    const byte_counts now = {c->received, c->relayed};
    s->counts.traffic.received += now.received - c->counted.received;
    s->counts.traffic.relayed += now.relayed - c->counted.relayed;
    c->counted = now;
}

// Takes the record of a process out of the list; null for an unknown process.
static server_child *child_unlink(server *s, pid_t id)
{
    mutex_holder hold(&s->lock);
    for (server_child **link = &s->children; *link != nullptr; link = &(*link)->next) {
        server_child *c = *link;
        if (c->id != id) continue;
        *link = c->next;
        traffic_count(s, c);
        return c;
    }
    return nullptr;
}

// Marks that the process must get no more signals: its id may be reused.
static void child_mark_reaped(server_child *c)
{
    mutex_holder hold(&c->lock);
    c->reaped = true;
}

static void child_teardown(server *s, server_child *c)
{
    {
        mutex_holder hold(&s->lock);
        traffic_count(s, c); // the last answers
    }
    int id = c->id;
    log_line(LOG_DEBUG, "Reaping child %d\n", id);
    log_line(LOG_DEBUG, "Waiting for threads\n");
    child_destroy(c);
    log_line(LOG_DEBUG, "Child %d is dead\n", id);
    log_line(LOG_DEBUG, "Child %d cleaned.\n", id);
}

// Destroys the records of ended workers whose last answers were taken or are no longer being taken.
static void children_teardown_settled(server *s)
{
    for (server_child **link = &s->ended; *link != nullptr;) {
        server_child *c = *link;
        if (!child_drain(c, 0) && child_idle_time(c, &c->ending) < c->grace) {
            link = &c->next;
            continue;
        }
        *link = c->next;
        child_teardown(s, c);
    }
}

static void children_teardown_all(server *s)
{
    while (s->ended != nullptr) {
        server_child *c = s->ended;
        s->ended = c->next;
        child_teardown(s, c);
    }
}

// Finds an ended process that is not collected yet; its id is 0 if there is none.
static siginfo_t ended_peek(void)
{
    siginfo_t info = {};
    if (waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0) info.si_pid = 0;
    return info;
}

static worker_end end_find(server_child *c, const siginfo_t *info)
{
    const bool exited = info->si_code == CLD_EXITED;
    if (exited && info->si_status == 0 && child_farewell(c)) return END_REGULAR;
    mutex_holder hold(&c->lock);
    return c->reason == END_SIGNAL && exited ? END_EXIT : c->reason;
}

// Counts the end of a worker, and logs it unless its client asked for it.
static void exit_report(server *s, server_child *c, const siginfo_t *info)
{
    const worker_end end = end_find(c, info);
    {
        mutex_holder hold(&s->lock);
        s->counts.ended[end]++;
    }
    if (end == END_REGULAR) return;
    char request[48] = "";
    unsigned long last = process_find_request(c->id);
    if (last > 0) snprintf(request, sizeof request, ", last request %lu", last);
    mutex_holder hold(&c->lock);
    const char *how = info->si_code == CLD_EXITED ? "exit status" : "signal";
    const char *reason = end_texts[end].reason;
    log_line(LOG_WARNING, "Child %d of client %s ended with %s %d after %lld s%s%s%s\n", c->id,
             c->peer, how, info->si_status,
             static_cast<long long>((clock_ms() - c->started) / 1000), request,
             reason != nullptr ? ": " : "", reason != nullptr ? reason : "");
}

// Takes an ended process and the record of it.
static void ended_collect(server *s, const siginfo_t *info, int64_t deadline)
{
    server_child *c = child_unlink(s, info->si_pid);
    if (c != nullptr) child_mark_reaped(c);
    if (c != nullptr) exit_report(s, c, info);
    waitpid(info->si_pid, nullptr, 0);
    log_line(LOG_DEBUG, "Child %d reaped.\n", info->si_pid);
    if (c == nullptr) return; // a child of a loaded library
    child_stop(c);
    child_measure(c, &c->ending);
    child_drain(c, deadline);
    c->next = s->ended;
    s->ended = c;
}

static void ended_collect_all(server *s)
{
    int64_t deadline = clock_ms() + DRAIN_TIME;
    for (siginfo_t info = ended_peek(); info.si_pid != 0; info = ended_peek())
        ended_collect(s, &info, deadline);
}

static void child_end(server_child *c)
{
    log_line(LOG_DEBUG, "Reap %d\n", c->id);
    child_stop(c);
    child_signal(c, SIGHUP);
    child_signal(c, SIGKILL);
}

static void exit_await(server_child *c)
{
    siginfo_t info;
    while (waitid(P_PID, c->id, &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    child_mark_reaped(c);
    waitpid(c->id, nullptr, 0);
}

// Moves all workers into the list of ended ones.
static void children_take(server *s)
{
    mutex_holder hold(&s->lock);
    s->ended = s->children;
    s->children = nullptr;
}

// Ends all workers and the process.  The main thread checks the stop flag and forks under the
// server's lock, so no worker is added after the list is taken.  The lock and the semaphore are not
// destroyed, because the main thread may still use them.
[[noreturn]] static void server_cleanup(server *s)
{
    socketfile_remove(&s->status.file);
    socketfile_remove(&s->file);
    shutdown(s->listen_fd, SHUT_RDWR); // closing it is not safe: the main thread may be using it
    children_teardown_all(s);          // those that have ended before
    children_take(s);
    log_line(LOG_DEBUG, "Server is shutting down\n");
    log_line(LOG_INFO, "Server dies, reaping all children.\n");
    for (server_child *c = s->ended; c != nullptr; c = c->next)
        child_end(c);
    for (server_child *c = s->ended; c != nullptr; c = c->next)
        exit_await(c);
    children_teardown_all(s);
    log_line(LOG_INFO, "Server stopped.\n");
    options_release(&s->options);
    exit(s->exit_status);
}

static bool look_is_due(server *s)
{
    if (clock_ms() < s->next_look) return false;
    s->next_look = clock_ms() + SOCKET_LOOK;
    return true;
}

// Ends the connections of clients that do not acknowledge what they were sent.  One thread looks at
// them all: a pump that woke for it would cost a thousand idle workers half a percent of a
// processor.
static void clients_drop_silent(server *s)
{
    mutex_holder hold(&s->lock);
    for (server_child *c = s->children; c != nullptr; c = c->next)
        child_drop_silent(c);
}

// Whether a server that takes no new workers has lost its last one.
static bool is_drained(server *s)
{
    mutex_holder hold(&s->lock);
    if (s->draining && s->children == nullptr && s->ended == nullptr) s->stop = 1;
    return s->stop;
}

void *reaper_thread(void *server_)
{
    server *s = static_cast<server *>(server_);
    signals_take_children();
    bool ended;
    while (!s->stop && !stop_await(s, &ended)) {
        // The system walks all workers to find an ended one, so it is asked when one may have
        // ended.
        const bool look = look_is_due(s);
        if (ended || look) ended_collect_all(s);
        if (look) clients_drop_silent(s);
        children_teardown_settled(s);
        if (is_drained(s)) break;
    }
    server_cleanup(s);
}

} // namespace vnt
