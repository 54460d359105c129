#include "remote/server/relay.h"

#include "remote/base/holders.h"
#include "remote/base/io.h"
#include "remote/base/log.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vnt {

bool relay_await_process(server_child *c)
{
    mutex_holder hold(&c->lock);
    c->waiting++;
    pthread_cond_broadcast(&c->changed);
    while (c->id == 0 && !c->stopped)
        pthread_cond_wait(&c->changed, &c->lock);
    return c->id != 0;
}

void relay_pump_end(server_child *c)
{
    mutex_holder hold(&c->lock);
    c->ended++;
    pthread_cond_broadcast(&c->changed);
}

static bool child_is_stopped(server_child *c)
{
    mutex_holder hold(&c->lock);
    return c->stopped;
}

void relay_fail(server_child *c, const char *call)
{
    if (child_is_stopped(c)) return;
    log_syscall(call);
    child_kill(c, END_SIGNAL);
}

int relay_count_unread(int fd)
{
    int bytes = 0;
    return fd >= 0 && ioctl(fd, FIONREAD, &bytes) == 0 ? bytes : 0;
}

bool relay_write_all(const server_child *c, int fd, const void *bytes, ssize_t n)
{
    return io_write_all(fd, bytes, static_cast<size_t>(n), c->stop_fd, CLOCK_NEVER) == 0;
}

// Neither an atomic addition nor the exact time: this is done for every piece.
void relay_count(server_child *c, std::atomic<uint64_t> *counter, ssize_t n)
{
    static constexpr std::memory_order relaxed = std::memory_order_relaxed;
    counter->store(counter->load(relaxed) + static_cast<uint64_t>(n), relaxed);
    c->active.store(clock_ms_coarse(), relaxed);
}

ssize_t relay_move(int from, int to)
{
    return splice(from, nullptr, to, nullptr, 1 << 20, SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
}

bool relay_may_repeat(const server_child *c)
{
    if (errno == ENOMEM || errno == ENOBUFS) return io_shortage_wait(c->stop_fd, CLOCK_NEVER);
    return errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK;
}

bool relay_is_over(int fd, short events)
{
    pollfd p = {fd, events, 0};
    return poll(&p, 1, 0) > 0;
}

} // namespace vnt
