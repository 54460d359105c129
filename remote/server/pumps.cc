#include "remote/server/pumps.h"

#include "remote/base/holders.h"
#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/base/socket.h"
#include "remote/server/children.h"
#include "remote/server/owned.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

// How long a client may owe an answer to what was sent, and how often that is looked at.
static constexpr int SILENCE = 45000;
static constexpr int LISTENING = 5000;
// How long the last answers to a client may take once another waits for its worker.
static constexpr int SETTLE_TIME = 1000;
static constexpr int SHORTAGE_WAIT = 10;
// A worker may compute for longer than it may idle: unread bytes are given so many times the grace.
static constexpr int UNREAD_GRACES = 6;

static const char VANISHED[] = "its client has vanished";
static const char LINGERING[] = "it did not exit after its regular end";

// Until the process is known: a quick client's bytes must not be on the way before, because a
// failure on the way is answered by killing it.  False when there will be no process.
static bool process_await(server_child *c)
{
    mutex_holder hold(&c->lock);
    c->waiting++;
    pthread_cond_broadcast(&c->changed);
    while (c->id == 0 && !c->stopped)
        pthread_cond_wait(&c->changed, &c->lock);
    return c->id != 0;
}

static bool child_isstopped(server_child *c)
{
    mutex_holder hold(&c->lock);
    return c->stopped;
}

// Something between server and worker broke.  That is the worker's end, unless it had come before.
static void child_fail(server_child *c, const char *call)
{
    if (child_isstopped(c)) return;
    log_syscall(call);
    child_kill(c, nullptr);
}

static int unread_count(int fd)
{
    int bytes = 0;
    return fd >= 0 && ioctl(fd, FIONREAD, &bytes) == 0 ? bytes : 0;
}

// Writes all of it, however long that takes; false when that fails or the pump must end.
static bool pass(const server_child *c, int fd, const void *bytes, ssize_t n)
{
    return io_writeall(fd, bytes, static_cast<size_t>(n), c->stopfd, CLOCK_NEVER) == 0;
}

// Moves bytes from a socket to a pipe or back without looking at them.
static ssize_t move(int from, int to)
{
    return splice(from, nullptr, to, nullptr, 1 << 20, SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
}

// Whether a read() that failed may succeed later.  Memory may be short for a while.
static bool read_mayrepeat(const server_child *c)
{
    if (errno == ENOMEM || errno == ENOBUFS)
        return io_wait(-1, 0, c->stopfd, clock_afterms(SHORTAGE_WAIT)) == 0;
    return errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK;
}

// Whether a connection is over in both directions, or at least in the client's.
static bool socket_isover(int fd, short events)
{
    pollfd p = {fd, events, 0};
    return poll(&p, 1, 0) > 0;
}

enum relay_result { RELAY_MORE, RELAY_END, RELAY_STOP };

// Reads the worker's report, which it has written in one piece.
static void report_read(server_child *c)
{
    mutex_holder hold(&c->lock); // the report is either in the pipe or known, see child_farewell
    ssize_t n = read(c->statusfd, &c->report, sizeof c->report);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return;
    c->reported = n == sizeof c->report ? REPORT_READ : REPORT_BROKEN;
    c->left = c->reported == REPORT_READ && c->report == c->id;
    c->farewell = c->reported == REPORT_READ && c->report != c->id;
}

// Waits a while for `events` on fd, and takes the worker's report meanwhile.  Returns 1 when they
// are there, 0 when not yet, -1 when the pump must end.
static int watch(server_child *c, int fd, short events)
{
    pollfd fds[] = {{c->stopfd, POLLIN, 0},
                    {fd, events, 0},
                    {c->reported == REPORT_AWAITED ? c->statusfd : -1, POLLIN, 0}};
    int ready = poll(fds, 3, std::min(LISTENING, c->grace));
    if (ready == 0 && socket_silent(c->client, SILENCE)) shutdown(c->client, SHUT_RDWR);
    if (ready <= 0) return 0;
    if (fds[0].revents != 0) return -1;
    if (fds[2].revents != 0) report_read(c);
    return fds[1].revents != 0;
}

// Whether nothing that the client still sends counts: the worker has ended regularly, or was left
// by the client and is wanted by another.
static bool client_isdone(server_child *c)
{
    mutex_holder hold(&c->lock);
    return c->farewell || (c->left && c->pending != PENDING_NONE);
}

// Waits for room in the worker's input.  A worker that reads nothing, for a client that sends
// nothing any more, does not wait for ever.
static relay_result room_await(server_child *c)
{
    child_traffic traffic;
    child_measure(c, &traffic);
    for (;;) {
        int ready = watch(c, c->requestfd, POLLOUT);
        if (ready != 0) return ready > 0 ? RELAY_MORE : RELAY_STOP;
        if (client_isdone(c)) return RELAY_END;
        if (!socket_isover(c->client, POLLRDHUP))
            child_measure(c, &traffic);
        else if (child_idletime(c, &traffic) >= int64_t(UNREAD_GRACES) * c->grace)
            break;
    }
    child_kill(c, VANISHED);
    return RELAY_STOP;
}

static relay_result request_copy(server_child *c)
{
    char *buffer = c->memory->buffers[0];
    ssize_t n = read(c->client, buffer, c->chunk);
    if (n < 0 && read_mayrepeat(c)) return RELAY_MORE;
    if (n <= 0) return RELAY_END;
    log_line(LOG_DEBUG, "pump_tochild: %d bytes read\n", static_cast<int>(n));
    for (ssize_t done = 0; done < n;) {
        ssize_t m = write(c->requestfd, buffer + done, static_cast<size_t>(n - done));
        if (m >= 0) {
            done += m;
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            relay_result result = room_await(c);
            if (result != RELAY_MORE) return result;
        } else if (!read_mayrepeat(c)) {
            child_fail(c, "safe_write");
            return RELAY_STOP;
        }
    }
    return RELAY_MORE;
}

static relay_result request_move(server_child *c)
{
    ssize_t n = move(c->client, c->requestfd);
    if (n >= 0) return n > 0 ? RELAY_MORE : RELAY_END;
    switch (errno) {
    case EAGAIN: return room_await(c);
    case EINTR: return RELAY_MORE;
    default: break;
    }
    // Also EPIPE, which says only that nothing was left to move when the client has gone.
    if (!socket_alive(c->client)) return RELAY_END;
    c->copying = true; // whatever splice() lacks; read() and write() tell what is really wrong
    return RELAY_MORE;
}

// Passes on what the client sends.  Returns true once the client is gone, whichever way, or does
// not count any more; false when the pump must end.  A worker that was told to wait does not mind
// a reset.
static bool requests_relay(server_child *c)
{
    for (;;) {
        int ready = watch(c, c->client, POLLIN);
        if (ready < 0) return false;
        if (client_isdone(c)) return true;
        if (ready == 0) continue;
        relay_result result = c->copying ? request_copy(c) : request_move(c);
        if (result != RELAY_MORE) return result == RELAY_END;
    }
}

enum await_result { AWAIT_REPORT, AWAIT_NOTHING, AWAIT_STOPPED };

// Waits for the worker's report, for as long as bytes move: a worker that computes has not read
// yet what its client said last, and a client that has closed only its sending side still takes
// answers.  AWAIT_NOTHING when they have stopped for too long, AWAIT_STOPPED when the pump must
// end.
static await_result report_await(server_child *c)
{
    child_traffic traffic;
    child_measure(c, &traffic);
    while (c->reported == REPORT_AWAITED) {
        int64_t idle = child_idletime(c, &traffic);
        int64_t limit = int64_t(c->grace) * (traffic.unread > 0 ? UNREAD_GRACES : 1);
        if (idle >= limit) return AWAIT_NOTHING;
        int64_t wait = std::min<int64_t>(limit - idle, c->grace / 10 + 1);
        int ready = io_wait(c->statusfd, POLLIN, c->stopfd, clock_afterms(wait));
        if (ready < 0) return AWAIT_STOPPED;
        if (ready > 0) report_read(c);
    }
    return AWAIT_REPORT;
}

// The client has vanished: it neither ended its worker nor told it to wait.  The worker finds its
// input ended.  If it does not come to read it, or waits too late to be reached, it is killed.
static void orphan_end(server_child *c)
{
    bool reads = unread_count(c->requestfd) == 0;
    {
        mutex_holder hold(&c->lock);
        if (c->reason == nullptr) c->reason = VANISHED;
        owned_close(c->requestfd);
        c->requestfd = -1;
    }
    await_result result = reads ? report_await(c) : AWAIT_NOTHING;
    bool parked = result == AWAIT_REPORT && c->reported == REPORT_READ && c->report == c->id;
    if (result == AWAIT_NOTHING || parked) child_kill(c, VANISHED);
}

// After the worker's last report.
static void exit_await(server_child *c)
{
    if (io_wait(c->stopfd, POLLIN, -1, clock_afterms(c->grace)) == 0) child_kill(c, LINGERING);
}

// Under the record's lock: whether everything that the old client was to get has left the pipe.
static bool responses_aresettled(server_child *c)
{
    return !c->relaying && unread_count(c->responsefd) == 0;
}

static void client_replace(server_child *c)
{
    owned_close(c->client);
    c->client = c->pending;
    c->pending = PENDING_NONE;
    c->left = c->discarding = false;
}

// Waits until the last answers to the old client have left the pipe; what it does not take soon is
// dropped.
static void responses_settle(server_child *c)
{
    struct timespec end = clock_span(clock_afterms(SETTLE_TIME));
    while (!responses_aresettled(c) && c->pending >= 0) {
        if (pthread_cond_timedwait(&c->changed, &c->lock, &end) != ETIMEDOUT) continue;
        shutdown(c->client, SHUT_RDWR);
        pthread_cond_wait(&c->changed, &c->lock);
    }
}

// Waits for a client and puts its socket in the place of the old one.  False when none will come.
static bool client_take(server_child *c)
{
    mutex_holder hold(&c->lock);
    for (;;) {
        if (c->pending == PENDING_TEARDOWN) return false;
        if (c->pending >= 0) responses_settle(c);
        if (c->pending >= 0 && !socket_alive(c->pending)) {
            owned_close(c->pending);
            c->pending = PENDING_NONE;
        }
        if (c->pending >= 0) break;
        if (c->pending == PENDING_NONE) pthread_cond_wait(&c->changed, &c->lock);
    }
    client_replace(c);
    return true;
}

// Waits until a client speaks to whom the worker can go.  One that ends its side before has not
// been heard by the worker, which must not be taken for its orphan: it waits for the next.
// Returns 1, 0 when no client will come, -1 when the pump must end.
static int client_find(server_child *c)
{
    while (client_take(c)) {
        int ready = 0;
        // What the old client sent last is served for the new one, which may wait for it in
        // silence.
        while (ready == 0 && unread_count(c->requestfd) == 0)
            ready = watch(c, c->client, POLLIN);
        if (ready < 0) return -1;
        if (socket_alive(c->client)) return 1;
        shutdown(c->client, SHUT_RDWR);
    }
    return 0;
}

// Releases the waiting worker: with its id when a client is back, with 0 when none will be.
static bool worker_release(server_child *c, int32_t number)
{
    c->reported = REPORT_AWAITED;
    if (pass(c, c->controlfd, &number, sizeof number)) return true;
    // A waiting worker that somebody else has ended is no fault of the server's.
    if (errno == EPIPE)
        child_kill(c, nullptr);
    else
        child_fail(c, "safe_write");
    return false;
}

// The client is gone.  Returns true once another has taken its place, false when the pump must
// end.
static bool client_await(server_child *c)
{
    switch (report_await(c)) {
    case AWAIT_STOPPED: return false;
    case AWAIT_NOTHING: orphan_end(c); return false;
    case AWAIT_REPORT: break;
    }
    if (c->reported == REPORT_BROKEN) {
        errno = EPIPE;
        child_fail(c, "safe_read");
        return false;
    }
    if (c->report != c->id) {
        exit_await(c);
        return false;
    }
    int found = client_find(c);
    return found >= 0 && worker_release(c, found > 0 ? c->id : 0) && found > 0;
}

void *pump_tochild(void *child)
{
    server_child *c = static_cast<server_child *>(child);
    if (process_await(c))
        while (requests_relay(c) && client_await(c)) {
        }
    log_line(LOG_DEBUG, "pump_tochild: exit\n");
    return nullptr;
}

// The client takes nothing any more.  It has lost bytes, so if it is there after all, it must see
// the connection's end instead of waiting for the rest.
static void client_discard(server_child *c)
{
    if (errno != ECANCELED) {
        log_syscall("safe_write");
        log_line(LOG_DEBUG, "fd = %d\n", c->client);
    }
    mutex_holder hold(&c->lock);
    c->discarding = true;
    shutdown(c->client, SHUT_RDWR);
}

// The steps below pass on one piece of what the worker sends.  Meanwhile `relaying` is set, and the
// client's socket stays the same.

static relay_result response_copy(server_child *c, bool wanted)
{
    char *buffer = c->memory->buffers[1];
    ssize_t n = read(c->responsefd, buffer, c->chunk);
    if (n < 0 && read_mayrepeat(c)) return RELAY_MORE;
    if (n < 0) child_fail(c, "read");
    if (n <= 0) return RELAY_END;
    log_line(LOG_DEBUG, "pump_fromchild: %d bytes read\n", static_cast<int>(n));
    if (!wanted) return RELAY_MORE;
    if (!pass(c, c->client, buffer, n)) {
        client_discard(c);
        return RELAY_MORE;
    }
    c->relayed += static_cast<uint64_t>(n);
    log_line(LOG_DEBUG, "pump_fromchild: %d bytes written\n", static_cast<int>(n));
    return RELAY_MORE;
}

static relay_result response_move(server_child *c)
{
    ssize_t n = move(c->responsefd, c->client);
    if (n == 0) return RELAY_END;
    if (n > 0) {
        c->relayed += static_cast<uint64_t>(n);
        return RELAY_MORE;
    }
    if (errno == EINTR) return RELAY_MORE;
    if (errno == EAGAIN) // the socket is full
        return io_wait(c->client, POLLOUT, c->stopfd, CLOCK_NEVER) > 0 ? RELAY_MORE : RELAY_STOP;
    if (socket_isover(c->client, 0))
        client_discard(c);
    else
        c->copying = true; // whatever splice() lacks, nothing is lost yet
    return RELAY_MORE;
}

// Says whether bytes are under way; returns whether the client takes them.
static bool relaying_set(server_child *c, bool relaying)
{
    mutex_holder hold(&c->lock);
    c->relaying = relaying;
    if (!relaying) pthread_cond_broadcast(&c->changed);
    return !c->discarding;
}

// Passes on one piece of what the worker sends, or drops it.  False at the end of its output.
static bool response_relay(server_child *c)
{
    // Set before bytes leave the pipe: else the to-child pump could find it empty, and change the
    // client, with a piece of an old answer still to come.
    bool wanted = relaying_set(c, true);
    relay_result result = wanted && !c->copying ? response_move(c) : response_copy(c, wanted);
    relaying_set(c, false);
    return result == RELAY_MORE;
}

void *pump_fromchild(void *child)
{
    server_child *c = static_cast<server_child *>(child);
    if (process_await(c))
        while (io_wait(c->responsefd, POLLIN, c->stopfd, CLOCK_NEVER) > 0 && response_relay(c)) {
        }
    log_line(LOG_DEBUG, "pump_fromchild: exit\n");
    mutex_holder hold(&c->lock);
    c->drained = true;
    pthread_cond_broadcast(&c->changed);
    return nullptr;
}

} // namespace vnt
