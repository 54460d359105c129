// The pump from a worker to its client.
#include "remote/base/holders.h"
#include "remote/base/io.h"
#include "remote/base/log.h"
#include "remote/server/pumps.h"
#include "remote/server/relay.h"

#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

// The client takes nothing more.  It has lost bytes, so if it still exists it must see the end of
// the connection instead of waiting for the rest.
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

// The steps below pass on one piece of the worker's output.  Meanwhile `relaying` is set, so the
// client's socket does not change.

static relay_result response_copy(server_child *c, bool wanted)
{
    char buffer[RELAY_PIECE];
    ssize_t n = read(c->response_fd, buffer, sizeof buffer);
    if (n < 0 && relay_may_repeat(c)) return RELAY_MORE;
    if (n < 0) relay_fail(c, "read");
    if (n <= 0) return RELAY_END;
    log_line(LOG_DEBUG, "pump_fromchild: %d bytes read\n", static_cast<int>(n));
    if (!wanted) return RELAY_MORE;
    if (!relay_write_all(c, c->client, buffer, n)) {
        client_discard(c);
        return RELAY_MORE;
    }
    relay_count(c, &c->relayed, n);
    log_line(LOG_DEBUG, "pump_fromchild: %d bytes written\n", static_cast<int>(n));
    return RELAY_MORE;
}

static relay_result response_move(server_child *c)
{
    ssize_t n = relay_move(c->response_fd, c->client);
    if (n == 0) return RELAY_END;
    if (n > 0) {
        relay_count(c, &c->relayed, n);
        return RELAY_MORE;
    }
    if (errno == EINTR) return RELAY_MORE;
    if (errno == EAGAIN) // the socket is full
        return io_wait(c->client, POLLOUT, c->stop_fd, CLOCK_NEVER) > 0 ? RELAY_MORE : RELAY_STOP;
    if (relay_is_over(c->client, 0))
        client_discard(c);
    else
        c->copying = true; // splice() does not work here; nothing is lost yet
    return RELAY_MORE;
}

// Sets whether a piece is being passed on; returns whether the client takes bytes.
static bool relaying_set(server_child *c, bool relaying)
{
    mutex_holder hold(&c->lock);
    c->relaying = relaying;
    if (!relaying) pthread_cond_broadcast(&c->changed);
    return !c->discarding;
}

// Passes on or drops one piece of the worker's output.  Returns false at the end of the output.
static bool response_relay(server_child *c)
{
    // Set before bytes leave the pipe: else the to-child pump could find the pipe empty and change
    // the client before the old answer is complete.
    bool wanted = relaying_set(c, true);
    relay_result result = wanted && !c->copying ? response_move(c) : response_copy(c, wanted);
    relaying_set(c, false);
    return result == RELAY_MORE;
}

// Returns false when the pump must end.
static bool response_await(server_child *c)
{
    pollfd fds[] = {{c->response_fd, POLLIN, 0}, {c->stop_fd, POLLIN, 0}};
    if (moment_poll(&c->responses_soon, fds, 2) > 0) return fds[1].revents == 0;
    return io_wait(c->response_fd, POLLIN, c->stop_fd, CLOCK_NEVER) > 0;
}

void *pump_fromchild(void *child)
{
    server_child *c = static_cast<server_child *>(child);
    if (relay_await_process(c))
        while (response_await(c) && response_relay(c)) {
        }
    log_line(LOG_DEBUG, "pump_fromchild: exit\n");
    {
        mutex_holder hold(&c->lock);
        c->drained = true;
    }
    relay_pump_end(c);
    return nullptr;
}

} // namespace vnt
