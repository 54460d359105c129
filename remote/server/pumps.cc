#include "remote/server/pumps.h"

#include "remote/base/holders.h"
#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/base/socket.h"
#include "remote/server/children.h"
#include "remote/server/owned.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

// Until the process is known: a quick client's bytes must not be on the way before, because a
// failure on the way is answered by killing it.  False when there will be no process.
static bool await_start(server_child *c)
{
    mutex_holder hold(&c->lock);
    c->waiting++;
    pthread_cond_broadcast(&c->changed);
    while (c->id == 0 && !c->stopped)
        pthread_cond_wait(&c->changed, &c->lock);
    return c->id != 0;
}

static bool stopped(server_child *c)
{
    mutex_holder hold(&c->lock);
    return c->stopped;
}

// Something between server and worker broke.  That is the worker's end, unless it had come before.
static void fail(server_child *c, const char *call)
{
    if (stopped(c)) return;
    log_syscall(call);
    child_kill(c);
}

static bool again(void)
{
    return errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK;
}

static int unread(int fd)
{
    int bytes = 0;
    return fd >= 0 && ioctl(fd, FIONREAD, &bytes) == 0 ? bytes : 0;
}

// Waits for ever; false when the pump must end.
static bool await(const server_child *c, int fd, short events)
{
    return io_wait(fd, events, c->stopfd, CLOCK_NEVER) > 0;
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

enum relay_result { RELAY_MORE, RELAY_END, RELAY_STOP };

static relay_result copy_request(server_child *c)
{
    char *buffer = c->memory->buffers[0];
    ssize_t n = read(c->client, buffer, c->chunk);
    if (n < 0 && again()) return RELAY_MORE;
    if (n <= 0) return RELAY_END;
    log_line(LOG_DEBUG, "pump_tochild: %d bytes read\n", static_cast<int>(n));
    if (pass(c, c->requestfd, buffer, n)) return RELAY_MORE;
    fail(c, "safe_write");
    return RELAY_STOP;
}

static relay_result move_request(server_child *c)
{
    ssize_t n = move(c->client, c->requestfd);
    if (n >= 0) return n > 0 ? RELAY_MORE : RELAY_END;
    switch (errno) {
    case EAGAIN: // the pipe is full
        return await(c, c->requestfd, POLLOUT) ? RELAY_MORE : RELAY_STOP;
    case EINTR: return RELAY_MORE;
    case EPIPE: // said also when the client has gone and nothing was left to move
        if (!socket_alive(c->client)) return RELAY_END;
        fail(c, "safe_write");
        return RELAY_STOP;
    case EINVAL: c->copying = true; return RELAY_MORE; // no socket for this
    default: return RELAY_END;
    }
}

// How long a client may owe an answer to what was sent, and how often that is looked at.
static constexpr int SILENCE = 80000;
static constexpr int LISTENING = 5000;

// Waits for something from the client, if only its end.  False when the pump must end.
static bool await_request(server_child *c)
{
    for (;;) {
        int ready = io_wait(c->client, POLLIN, c->stopfd, clock_afterms(LISTENING));
        if (ready != 0) return ready > 0;
        if (socket_silent(c->client, SILENCE)) shutdown(c->client, SHUT_RDWR);
    }
}

// Passes on what the client sends.  Returns true once the client is gone, whichever way: a worker
// that has been told to wait does not mind a reset.  False when the pump must end.
static bool relay_requests(server_child *c)
{
    relay_result result = RELAY_MORE;
    while (result == RELAY_MORE) {
        if (!await_request(c)) return false;
        result = c->copying ? copy_request(c) : move_request(c);
    }
    return result == RELAY_END;
}

enum word_result { WORD_HERE, WORD_MISSING, WORD_BROKEN, WORD_STOPPED };

// Waits for the worker's word on its status.  WORD_MISSING when it had nothing left to read for
// the time of grace and said nothing; WORD_BROKEN when it has ended; WORD_STOPPED when the pump
// must end.
static word_result await_word(server_child *c, int32_t *word)
{
    int64_t end = clock_ms() + c->grace;
    for (;;) {
        // A worker that is computing has not seen yet what its client said last.
        if (unread(c->requestfd) > 0) end = clock_ms() + c->grace;
        int64_t left = end - clock_ms();
        if (left <= 0) return WORD_MISSING;
        int64_t wait = std::min<int64_t>(left, c->grace / 10 + 1);
        int ready = io_wait(c->statusfd, POLLIN, c->stopfd, clock_afterms(wait));
        if (ready < 0) return WORD_STOPPED;
        if (ready == 0) continue;
        ssize_t n = read(c->statusfd, word, sizeof *word); // written at once, and so read
        if (n == sizeof *word) return WORD_HERE;
        if (n < 0 && again()) continue;
        if (n >= 0) errno = EPIPE;
        return WORD_BROKEN;
    }
}

// The client has vanished: it neither ended its worker nor told it to wait.  The worker finds its
// input ended, and if it does not come to read it, that was all.
static void end_orphan(server_child *c)
{
    int32_t word;
    owned_close(c->requestfd);
    c->requestfd = -1;
    word_result result = await_word(c, &word);
    bool parked = result == WORD_HERE && word == c->id; // too late: nothing could reach it
    if (result == WORD_MISSING || parked) child_kill(c);
}

// Whether everything that the old client was to get has left the pipe.
static bool settled(server_child *c)
{
    return !c->relaying && unread(c->responsefd) == 0;
}

// Waits for a client and puts its socket in the place of the old one.  False when none will come.
static bool take_client(server_child *c)
{
    mutex_holder hold(&c->lock);
    for (;;) {
        if (c->pending == PENDING_TEARDOWN) return false;
        if (c->pending >= 0 && !socket_alive(c->pending)) {
            owned_close(c->pending);
            c->pending = PENDING_NONE;
        }
        if (c->pending >= 0) {
            if (settled(c)) break;
            shutdown(c->client, SHUT_RDWR); // nobody waits for the rest of the old answers
        }
        pthread_cond_wait(&c->changed, &c->lock);
    }
    owned_close(c->client);
    c->client = c->pending;
    c->pending = PENDING_NONE;
    c->deaf = false;
    return true;
}

// Releases the waiting worker: with its id when a client is back, with 0 when none will be.
static bool release(server_child *c, int32_t word)
{
    if (pass(c, c->controlfd, &word, sizeof word)) return true;
    // A waiting worker that somebody else has ended is no fault of the server's.
    if (errno == EPIPE)
        child_kill(c);
    else
        fail(c, "safe_write");
    return false;
}

// The client is gone.  Returns true once another has taken its place, false when the pump must
// end.
static bool await_client(server_child *c)
{
    int32_t word;
    switch (await_word(c, &word)) {
    case WORD_STOPPED: return false;
    case WORD_BROKEN: fail(c, "safe_read"); return false;
    case WORD_MISSING: end_orphan(c); return false;
    case WORD_HERE: break;
    }
    if (word != c->id) return false; // a regular end
    // The worker goes on when its new client speaks.  One that dies before has not been heard, and
    // the worker must not be taken for its orphan.
    bool taken;
    do {
        taken = take_client(c);
        if (taken && !await_request(c)) return false;
    } while (taken && !socket_alive(c->client));
    return release(c, taken ? c->id : 0) && taken;
}

void *pump_tochild(void *child)
{
    server_child *c = static_cast<server_child *>(child);
    if (await_start(c))
        while (relay_requests(c) && await_client(c)) {
        }
    log_line(LOG_DEBUG, "pump_tochild: exit\n");
    return nullptr;
}

// The client takes nothing any more.
static void turn_deaf(server_child *c)
{
    if (errno != ECANCELED) {
        log_syscall("safe_write");
        log_line(LOG_DEBUG, "fd = %d\n", c->client);
    }
    mutex_holder hold(&c->lock);
    c->deaf = true;
}

// The steps below pass on one piece of what the worker says.  Meanwhile `relaying` is set, and the
// client's socket stays the same.

static relay_result copy_response(server_child *c, bool heard)
{
    char *buffer = c->memory->buffers[1];
    ssize_t n = read(c->responsefd, buffer, c->chunk);
    if (n < 0 && again()) return RELAY_MORE;
    if (n < 0) fail(c, "read");
    if (n <= 0) return RELAY_END;
    log_line(LOG_DEBUG, "pump_fromchild: %d bytes read\n", static_cast<int>(n));
    if (!heard) return RELAY_MORE;
    if (pass(c, c->client, buffer, n))
        log_line(LOG_DEBUG, "pump_fromchild: %d bytes written\n", static_cast<int>(n));
    else
        turn_deaf(c);
    return RELAY_MORE;
}

static relay_result move_response(server_child *c)
{
    ssize_t n = move(c->responsefd, c->client);
    if (n >= 0) return n > 0 ? RELAY_MORE : RELAY_END;
    switch (errno) {
    case EAGAIN: // the socket is full
        return await(c, c->client, POLLOUT) ? RELAY_MORE : RELAY_STOP;
    case EINTR: break;
    case EINVAL: c->copying = true; break; // no socket for this
    default: turn_deaf(c);
    }
    return RELAY_MORE;
}

// Says whether bytes are under way; returns whether the client takes them.
static bool set_relaying(server_child *c, bool relaying)
{
    mutex_holder hold(&c->lock);
    c->relaying = relaying;
    if (!relaying) pthread_cond_broadcast(&c->changed);
    return !c->deaf;
}

// Passes on one piece of what the worker says, or drops it.  False at the end of its output.
static bool relay_response(server_child *c)
{
    // Set before bytes leave the pipe: else the to-child pump could find it empty, and change the
    // client, with a piece of an old answer still to come.
    bool heard = set_relaying(c, true);
    relay_result result = heard && !c->copying ? move_response(c) : copy_response(c, heard);
    set_relaying(c, false);
    return result == RELAY_MORE;
}

void *pump_fromchild(void *child)
{
    server_child *c = static_cast<server_child *>(child);
    if (await_start(c))
        while (await(c, c->responsefd, POLLIN) && relay_response(c)) {
        }
    log_line(LOG_DEBUG, "pump_fromchild: exit\n");
    mutex_holder hold(&c->lock);
    c->drained = true;
    pthread_cond_broadcast(&c->changed);
    return nullptr;
}

} // namespace vnt
