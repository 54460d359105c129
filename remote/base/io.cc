#include "remote/base/io.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

static constexpr int SHORTAGE_WAIT = 10;      // milliseconds until memory may be there again
static constexpr int SHORTAGE_PATIENCE = 500; // waits of that length until a wait gives up

static void wait_for_memory()
{
    const timespec pause = {0, SHORTAGE_WAIT * 1000 * 1000};
    nanosleep(&pause, nullptr);
}

int io_wait(int fd, short events, int stop_fd, int64_t deadline)
{
    pollfd fds[2] = {{fd, events, 0}, {stop_fd, POLLIN, 0}}; // poll() passes over -1
    for (int shortages = 0;;) {
        int ready = poll(fds, 2, clock_left_ms(deadline));
        // The system can be short of memory for a moment, which must not cost a connection.
        if (ready < 0 && errno == ENOMEM && shortages++ < SHORTAGE_PATIENCE) {
            wait_for_memory();
            continue;
        }
        if (ready > 0 && fds[1].revents == 0) return 1;
        if (ready > 0) errno = ECANCELED;
        if (ready > 0 || (ready < 0 && errno != EINTR)) return -1;
        if (ready == 0 && clock_left(deadline) == 0) {
            errno = ETIMEDOUT;
            return 0;
        }
    }
}

static ssize_t write_some(int fd, const void *bytes, size_t n)
{
    ssize_t done = send(fd, bytes, n, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (done < 0 && errno == ENOTSOCK) done = write(fd, bytes, n);
    if (done == 0) errno = EIO;
    return done;
}

static ssize_t read_some(int fd, void *bytes, size_t n)
{
    ssize_t done = recv(fd, bytes, n, MSG_DONTWAIT);
    if (done < 0 && errno == ENOTSOCK) done = read(fd, bytes, n);
    if (done == 0) errno = ECONNRESET;
    return done;
}

bool io_shortage_wait(int stop_fd, int64_t deadline)
{
    return io_wait(-1, 0, stop_fd, std::min(clock_after_ms(SHORTAGE_WAIT), deadline)) == 0 &&
           clock_left(deadline) > 0;
}

// After a call that moved nothing: returns whether to call again.
static bool retry(ssize_t done, int fd, short events, int stop_fd, int64_t deadline)
{
    if (done == 0) return false;
    if (errno == EINTR) return true;
    if (errno == ENOMEM || errno == ENOBUFS) return io_shortage_wait(stop_fd, deadline);
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    return io_wait(fd, events, stop_fd, deadline) > 0;
}

int io_write_all(int fd, const void *bytes, size_t n, int stop_fd, int64_t deadline)
{
    auto next = static_cast<const char *>(bytes);
    while (n > 0) {
        ssize_t done = write_some(fd, next, n);
        if (done > 0) {
            next += done;
            n -= static_cast<size_t>(done);
        } else if (!retry(done, fd, POLLOUT, stop_fd, deadline)) {
            return -1;
        }
    }
    return 0;
}

int io_read_all(int fd, void *bytes, size_t n, int stop_fd, int64_t deadline)
{
    auto next = static_cast<char *>(bytes);
    while (n > 0) {
        ssize_t done = read_some(fd, next, n);
        if (done > 0) {
            next += done;
            n -= static_cast<size_t>(done);
        } else if (!retry(done, fd, POLLIN, stop_fd, deadline)) {
            return -1;
        }
    }
    return 0;
}

} // namespace vnt
