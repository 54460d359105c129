// The pump from a client to its worker, and the handling of a worker without a client.
#include "remote/base/holders.h"
#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/base/socket.h"
#include "remote/server/owned.h"
#include "remote/server/process.h"
#include "remote/server/pumps.h"
#include "remote/server/relay.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

// How long the last answers to a client may take while another client waits for the worker.
static constexpr int SETTLE_TIME = 1000;
// A worker may compute for longer than it may idle: with unread bytes the grace is so much longer.
static constexpr int UNREAD_GRACES = 6;
// How often to look, in milliseconds, at a suspended worker whose client waits, and at least at one
// that is parked and may be so for a limited time.
static constexpr int SUSPENDED_LOOK = 100;
static constexpr int PARKED_LOOK = 60000;

// Reads the worker's report, which it has written in one piece.
static void report_read(server_child *c)
{
    mutex_holder hold(&c->lock); // for child_farewell: the report is in the pipe or in the record
    ssize_t n = read(c->status_fd, &c->report, sizeof c->report);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return;
    c->reported = n == sizeof c->report ? REPORT_READ : REPORT_BROKEN;
    c->left = c->reported == REPORT_READ && c->report == c->id;
    if (c->left) child_state_enter(c, CHILD_PARKED);
    c->farewell = c->reported == REPORT_READ && c->report != c->id;
}

// Waits for `events` on fd, for room only for a while, and takes the worker's report meanwhile.
// Returns 1 when they are there, 0 when not yet, -1 when the pump must end.
static int watch(server_child *c, int fd, short events)
{
    pollfd fds[] = {{c->stop_fd, POLLIN, 0},
                    {fd, events, 0},
                    {c->reported == REPORT_AWAITED ? c->status_fd : -1, POLLIN, 0}};
    int ready = events == POLLIN ? moment_poll(&c->requests_soon, fds, 3) : 0;
    if (ready == 0) ready = poll(fds, 3, events == POLLIN ? -1 : child_look_interval(c));
    if (ready <= 0) return 0;
    if (fds[0].revents != 0) return -1;
    if (fds[2].revents != 0) report_read(c);
    return fds[1].revents != 0;
}

// Whether to ignore what the client still sends: the worker has ended regularly, or the client has
// left it and another wants it.
static bool client_is_done(server_child *c)
{
    mutex_holder hold(&c->lock);
    return c->farewell || (c->left && c->pending != PENDING_NONE);
}

// How long nothing may move once the client has gone, in milliseconds.  A worker that has not taken
// up its client yet is still parked: a client that comes and goes must not cost it its life, even
// if a solver's call that takes hours keeps it from looking.
static int64_t idle_limit(const server_child *c, const child_traffic &traffic)
{
    if (traffic.held > 0) return c->parked_limit > 0 ? c->parked_limit : INT64_MAX;
    return int64_t(c->grace) * (traffic.unread > 0 ? UNREAD_GRACES : 1);
}

// Waits for room in the worker's input, with a limit if the worker reads nothing and the client has
// ended its side.
static relay_result room_await(server_child *c)
{
    child_traffic traffic;
    child_measure(c, &traffic);
    for (;;) {
        int ready = watch(c, c->request_fd, POLLOUT);
        if (ready != 0) return ready > 0 ? RELAY_MORE : RELAY_STOP;
        if (client_is_done(c)) return RELAY_END;
        if (!relay_is_over(c->client, POLLRDHUP))
            child_measure(c, &traffic);
        else if (child_idle_time(c, &traffic) >= idle_limit(c, traffic))
            break;
    }
    child_kill(c, END_VANISHED);
    return RELAY_STOP;
}

static relay_result request_copy(server_child *c)
{
    char buffer[RELAY_PIECE];
    ssize_t n = read(c->client, buffer, sizeof buffer);
    if (n < 0 && relay_may_repeat(c)) return RELAY_MORE;
    if (n <= 0) return RELAY_END;
    log_line(LOG_DEBUG, "pump_tochild: %d bytes read\n", static_cast<int>(n));
    for (ssize_t done = 0; done < n;) {
        ssize_t m = write(c->request_fd, buffer + done, static_cast<size_t>(n - done));
        if (m >= 0) {
            done += m;
            relay_count(c, &c->received, m);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            relay_result result = room_await(c);
            if (result != RELAY_MORE) return result;
        } else if (!relay_may_repeat(c)) {
            relay_fail(c, "safe_write");
            return RELAY_STOP;
        }
    }
    return RELAY_MORE;
}

static relay_result request_move(server_child *c)
{
    ssize_t n = relay_move(c->client, c->request_fd);
    if (n > 0) relay_count(c, &c->received, n);
    if (n >= 0) return n > 0 ? RELAY_MORE : RELAY_END;
    switch (errno) {
    case EAGAIN: return room_await(c);
    case EINTR: return RELAY_MORE;
    default: break;
    }
    // Includes EPIPE, which after the client's end only means that nothing was left to move.
    if (!socket_alive(c->client)) return RELAY_END;
    c->copying = true; // splice() does not work here; read() and write() report real errors
    return RELAY_MORE;
}

// Passes on what the client sends.  Returns true when the client is gone, also by a reset, or is to
// be ignored; false when the pump must end.
static bool requests_relay(server_child *c)
{
    for (;;) {
        int ready = watch(c, c->client, POLLIN);
        if (ready < 0) return false;
        if (client_is_done(c)) return true;
        if (ready == 0) continue;
        relay_result result = c->copying ? request_copy(c) : request_move(c);
        if (result != RELAY_MORE) return result == RELAY_END;
    }
}

enum await_result { AWAIT_REPORT, AWAIT_NOTHING, AWAIT_STOPPED };

// Waits for the worker's report while bytes move: a computing worker has not read its client's last
// requests yet, and a client that has closed only its sending side still takes answers.
// AWAIT_NOTHING when nothing has moved for too long, AWAIT_STOPPED when the pump must end.
static await_result report_await(server_child *c)
{
    child_traffic traffic;
    child_measure(c, &traffic);
    while (c->reported == REPORT_AWAITED) {
        int64_t idle = child_idle_time(c, &traffic);
        int64_t left = idle_limit(c, traffic) - idle;
        if (left <= 0) return AWAIT_NOTHING;
        int64_t wait = std::min<int64_t>(left, child_look_interval(c));
        int ready = io_wait(c->status_fd, POLLIN, c->stop_fd, clock_after_ms(wait));
        if (ready < 0) return AWAIT_STOPPED;
        if (ready > 0) report_read(c);
    }
    return AWAIT_REPORT;
}

// After the worker's last report.
static void exit_await(server_child *c)
{
    child_clock waiting;
    child_clock_start(&waiting);
    const int interval = child_look_interval(c);
    while (io_wait(c->stop_fd, POLLIN, -1, clock_after_ms(interval)) == 0)
        if (child_clock_read(c, &waiting, interval) >= c->grace)
            return child_kill(c, END_LINGERING);
}

// The client has vanished without ending or leaving its worker.  Closes the worker's input.  A
// worker that does not read the end of it, or parks only now, is killed.
static void orphan_end(server_child *c)
{
    bool reads = relay_count_unread(c->request_fd) == 0;
    {
        mutex_holder hold(&c->lock);
        if (c->reason == END_SIGNAL) c->reason = END_VANISHED;
        owned_close(c->request_fd);
        c->request_fd = -1;
    }
    await_result result = reads ? report_await(c) : AWAIT_NOTHING;
    bool parked = result == AWAIT_REPORT && c->reported == REPORT_READ && c->report == c->id;
    if (result == AWAIT_NOTHING || parked)
        child_kill(c, END_VANISHED);
    else if (result == AWAIT_REPORT)
        exit_await(c);
}

// Under the record's lock: whether all output for the old client has left the pipe.
static bool responses_are_settled(server_child *c)
{
    return !c->relaying && relay_count_unread(c->response_fd) == 0;
}

static void client_replace(server_child *c)
{
    owned_close(c->client);
    c->client = c->pending;
    c->pending = PENDING_NONE;
    c->left = c->discarding = false;
    child_state_enter(c, CHILD_SERVING);
}

// Waits until the last answers to the old client have left the pipe; drops those that it does not
// take soon.
static void responses_settle(server_child *c)
{
    struct timespec end = clock_span(clock_after_ms(SETTLE_TIME));
    while (!responses_are_settled(c) && c->pending >= 0) {
        if (pthread_cond_timedwait(&c->changed, &c->lock, &end) != ETIMEDOUT) continue;
        shutdown(c->client, SHUT_RDWR);
        pthread_cond_wait(&c->changed, &c->lock);
    }
}

// Waits for a change of the record.  A worker that is parked for too long gets no client any more.
// Under the record's lock.
static void change_await(server_child *c, child_clock *parked)
{
    if (c->parked_limit == 0) {
        pthread_cond_wait(&c->changed, &c->lock);
        return;
    }
    const int64_t interval = std::min<int64_t>(c->parked_limit / 10 + 1, PARKED_LOOK);
    struct timespec end = clock_span(clock_after_ms(interval));
    int rc = pthread_cond_timedwait(&c->changed, &c->lock, &end);
    if (rc != ETIMEDOUT || c->pending != PENDING_NONE) return;
    if (child_clock_read(c, parked, interval) < c->parked_limit) return;
    if (c->reason == END_SIGNAL) c->reason = END_FORGOTTEN;
    c->pending = PENDING_TEARDOWN;
}

// Waits for a client, whose socket then replaces the old one.  Returns false if none will come.
static bool client_take(server_child *c)
{
    child_clock parked;
    child_clock_start(&parked);
    mutex_holder hold(&c->lock);
    child_state_enter(c, CHILD_PARKED);
    for (;;) {
        if (c->pending == PENDING_TEARDOWN) return false;
        if (c->pending >= 0) responses_settle(c);
        if (c->pending >= 0 && !socket_alive(c->pending)) {
            owned_close(c->pending);
            c->pending = PENDING_NONE;
        }
        if (c->pending >= 0) break;
        if (c->pending == PENDING_NONE) change_await(c, &parked);
    }
    client_replace(c);
    return true;
}

// Waits until a suspended worker goes on: with a client's requests in its pipe it could not be left
// alone any more.  Returns 1, 0 when the client has ended its side before, -1 when the pump must
// end.
static int resume_await(server_child *c)
{
    while (process_is_stopped(c->id)) {
        if (relay_is_over(c->client, POLLRDHUP)) return 0;
        if (io_wait(c->stop_fd, POLLIN, -1, clock_after_ms(SUSPENDED_LOOK)) != 0) return -1;
    }
    return 1;
}

// Waits until a new client sends something.  The worker knows nothing of a client that ends before
// that, so it is not closed for it but waits for the next one.
// Returns 1, 0 when no client will come, -1 when the pump must end.
static int client_find(server_child *c)
{
    while (client_take(c)) {
        int ready = 0;
        // The old client's last requests are served for the new one, which may wait for the answers
        // without sending anything.
        while (ready == 0 && relay_count_unread(c->request_fd) == 0)
            ready = watch(c, c->client, POLLIN);
        int found = ready < 0 ? -1 : socket_alive(c->client) ? resume_await(c) : 0;
        if (found != 0) return found;
        shutdown(c->client, SHUT_RDWR);
    }
    return 0;
}

// Releases the waiting worker: with its id for a new client, with 0 if there will be none.
static bool worker_release(server_child *c, int32_t number)
{
    c->reported = REPORT_AWAITED;
    if (relay_write_all(c, c->control_fd, &number, sizeof number)) return true;
    // It is not an error of the server if another process has killed the waiting worker.
    if (errno == EPIPE)
        child_kill(c, END_SIGNAL);
    else
        relay_fail(c, "safe_write");
    return false;
}

// Unless the worker has said what it does without its client.
static void orphan_mark(server_child *c)
{
    mutex_holder hold(&c->lock);
    if (c->reported != REPORT_AWAITED) return;
    const bool held = relay_count_unread(c->control_fd) > 0;
    child_state_enter(c, held ? CHILD_PARKED : CHILD_ORPHAN);
}

// Handles the client's end.  Returns true when another has replaced it, false when the pump must
// end.
static bool client_await(server_child *c)
{
    orphan_mark(c);
    switch (report_await(c)) {
    case AWAIT_STOPPED: return false;
    case AWAIT_NOTHING: orphan_end(c); return false;
    case AWAIT_REPORT: break;
    }
    if (c->reported == REPORT_BROKEN) {
        errno = EPIPE;
        relay_fail(c, "safe_read");
        return false;
    }
    if (c->report != c->id) {
        exit_await(c);
        return false;
    }
    int found = client_find(c);
    if (found < 0 || !worker_release(c, found > 0 ? c->id : 0)) return false;
    if (found == 0) child_kill(c, END_SIGNAL); // it would wait for requests
    return found > 0;
}

void *pump_tochild(void *child)
{
    server_child *c = static_cast<server_child *>(child);
    if (relay_await_process(c))
        while (requests_relay(c) && client_await(c)) {
        }
    log_line(LOG_DEBUG, "pump_tochild: exit\n");
    relay_pump_end(c);
    return nullptr;
}

} // namespace vnt
