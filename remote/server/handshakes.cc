#include "remote/server/handshakes.h"

#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/server/owned.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

static constexpr int DRAIN_TIME = 1000; // milliseconds

static void phase_enter(handshake *h, decltype(handshake::phase) phase, int64_t milliseconds)
{
    h->phase = phase;
    h->have = 0;
    h->deadline = clock_ms() + milliseconds;
}

void handshakes_add(handshakes *h, int fd)
{
    handshake *added = &h->open[h->count++];
    added->fd = fd;
    added->since = clock_ms();
    h->counts.accepted++;
    socknam(fd, 1, added->peer);
    log_line(LOG_INFO, "New connection from %s\n", added->peer);
    phase_enter(added, handshake::ACTION, h->timeout);
}

int handshakes_poll(const handshakes *h, struct pollfd *fds)
{
    int64_t first = INT64_MAX;
    for (int i = 0; i < h->count; i++) {
        fds[i] = {h->open[i].fd, POLLIN, 0};
        first = std::min(first, h->open[i].deadline);
    }
    if (h->count == 0) return -1;
    return static_cast<int>(std::clamp<int64_t>(first - clock_ms(), 0, INT32_MAX));
}

static void answer_count(handshakes *h, int status)
{
    if (status >= 0 && status <= HANDSHAKE_NOACTION) h->counts.answered[status]++;
}

void handshake_refuse(handshakes *h, int fd, int status)
{
    answer_count(h, status);
    handshake_answer answer;
    size_t n = handshake_answer_put(answer, static_cast<uint16_t>(status), 0);
    if (io_write_all(fd, answer, n, -1, 0) != 0) log_syscall("safe_write");
    shutdown(fd, SHUT_WR);
}

// The steps below return whether the connection stays open here.

static bool connection_discard(handshake *c)
{
    owned_close(c->fd);
    return false;
}

static bool connection_answer(handshakes *h, handshake *c, int status)
{
    if (status == HANDSHAKE_OK) { // now owned by the server
        answer_count(h, status);
        return false;
    }
    handshake_refuse(h, c->fd, status);
    phase_enter(c, handshake::DRAIN, DRAIN_TIME);
    return true;
}

// The awaited number did not come in time, or the connection ended.
static bool number_miss(handshakes *h, handshake *c)
{
    if (c->phase == handshake::DRAIN) return connection_discard(c);
    log_syscall("timed_read");
    if (c->phase == handshake::ID) return connection_answer(h, c, HANDSHAKE_NOID);
    h->counts.silent++;
    return connection_discard(c);
}

static bool action_take(handshakes *h, handshake *c)
{
    if (c->phase == handshake::ID)
        return connection_answer(
            h, c, h->actions.reconnect(h->actions.server, c->fd, handshake_id_get(c->bytes)));
    uint32_t action = handshake_action_get(c->bytes);
    log_line(LOG_INFO, "%s: ACTION: %u\n", c->peer, action);
    if (action == ACTION_NEW)
        return connection_answer(h, c, h->actions.new_worker(h->actions.server, c->fd, c->peer));
    if (action != ACTION_RECONNECT) return connection_answer(h, c, HANDSHAKE_NOACTION);
    phase_enter(c, handshake::ID, h->timeout);
    return true;
}

// Reads what has arrived, but nothing beyond the awaited number: the rest is for the worker.
static bool number_receive(handshakes *h, handshake *c)
{
    char dropped[4096];
    bool drain = c->phase == handshake::DRAIN;
    size_t wanted = c->phase == handshake::ID ? HANDSHAKE_ID : HANDSHAKE_ACTION;
    ssize_t n = drain ? read(c->fd, dropped, sizeof dropped)
                      : read(c->fd, c->bytes + c->have, wanted - c->have);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return true;
    if (n == 0) errno = ENODATA;
    if (n <= 0) return number_miss(h, c);
    if (drain) return true;
    c->have += static_cast<size_t>(n);
    return c->have < wanted || action_take(h, c);
}

static bool connection_step(handshakes *h, handshake *c, bool ready)
{
    const bool late = clock_ms() >= c->deadline;
    // A server that is busy with many starts may look late at what has come in time.
    if (ready && (!late || c->phase != handshake::DRAIN)) return number_receive(h, c);
    if (!late) return true;
    errno = EAGAIN;
    return number_miss(h, c);
}

void handshakes_serve(handshakes *h, const struct pollfd *fds)
{
    for (int i = 0; i < h->count; i++) {
        if (connection_step(h, &h->open[i], fds[i].revents != 0)) continue;
        h->count--;
        memmove(&h->open[i], &h->open[i + 1], (h->count - i) * sizeof(handshake));
        return;
    }
}

} // namespace vnt
