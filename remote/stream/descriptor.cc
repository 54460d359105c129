#include "remote/stream/descriptor.h"

#include "remote/base/io.h"
#include "remote/base/socket.h"

#include <algorithm>
#include <cerrno>
#include <climits>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vnt {

bool descriptor_is_socket(int fd)
{
    struct stat st;
    return fstat(fd, &st) == 0 && S_ISSOCK(st.st_mode);
}

// Limits beyond a century count as a century, so that sums of times do not overflow.
static int64_t span(const timeval &limit)
{
    int64_t seconds = std::clamp<int64_t>(limit.tv_sec, 0, 3200000000);
    return seconds * CLOCK_SECOND + limit.tv_usec * 1000;
}

int64_t timeout_deadline(const fdio_timeout *t)
{
    return t->enabled != 0 ? clock_after(span(t->active)) : CLOCK_NEVER;
}

// Waits, and looks from time to time whether the peer of a socket is still there.
static int await(int fd, bool socket, short events, const fdio_timeout *timeout)
{
    int64_t deadline = timeout_deadline(timeout);
    for (;;) {
        int64_t look = socket ? std::min(deadline, clock_after_ms(SOCKET_LOOK)) : deadline;
        int ready = io_wait(fd, events, -1, look);
        if (ready != 0) return ready > 0 ? 0 : MESSAGE_IO;
        if (look == deadline) return MESSAGE_IO;
        if (!socket_drop_silent(fd)) continue;
        errno = EHOSTUNREACH;
        return MESSAGE_IO;
    }
}

int descriptor_read(int fd, bool socket, const fdio_timeout *timeout, void *to, size_t n,
                    size_t *got)
{
    bool wait = timeout->enabled != 0;
    for (;;) {
        if (wait) {
            int rc = await(fd, socket, POLLIN, timeout);
            if (rc != 0) return rc;
        }
        ssize_t r = socket ? recv(fd, to, n, MSG_DONTWAIT) : read(fd, to, n);
        if (r > 0) {
            *got = static_cast<size_t>(r);
            return 0;
        }
        if (r == 0) errno = ECONNRESET;
        if (r < 0 && errno == EINTR) continue;
        if (r == 0 || errno != EAGAIN) return MESSAGE_IO;
        wait = true; // sockets do not block here, and other descriptors may not by themselves
    }
}

static ssize_t send_pieces(int fd, bool socket, bool patient, const iovec pieces[2])
{
    iovec v[2] = {pieces[0], pieces[1]};
    if (socket) {
        msghdr m = {};
        m.msg_iov = v;
        m.msg_iovlen = 2;
        return sendmsg(fd, &m, MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    if (!patient) {
        // A pipe that shows room takes this much without blocking.
        v[0].iov_len = std::min<size_t>(v[0].iov_len, PIPE_BUF);
        v[1].iov_len = std::min<size_t>(v[1].iov_len, PIPE_BUF - v[0].iov_len);
    }
    return writev(fd, v, 2);
}

// Whether a descriptor that must not be waited for has room now.
static bool has_room(int fd)
{
    return io_wait(fd, POLLOUT, -1, 0) != 0;
}

int descriptor_write(int fd, bool socket, const fdio_timeout *timeout, bool patient,
                     const iovec pieces[2], size_t *sent)
{
    bool limited = timeout->enabled != 0;
    bool wait = limited && patient;
    *sent = 0;
    for (;;) {
        if (wait) {
            int rc = await(fd, socket, POLLOUT, timeout);
            if (rc != 0) return rc;
        }
        if (!patient && !socket && !has_room(fd)) return 0;
        ssize_t n = send_pieces(fd, socket, patient && !limited, pieces);
        if (n > 0) {
            *sent = static_cast<size_t>(n);
            return 0;
        }
        if (n == 0) errno = EIO;
        if (n < 0 && errno == EINTR) continue;
        if (n == 0 || errno != EAGAIN) return MESSAGE_IO;
        if (!patient) return 0;
        wait = true; // the descriptor does not block by itself
    }
}

void descriptor_advance(iovec pieces[2], size_t sent)
{
    for (int i = 0; i < 2; i++) {
        size_t n = std::min(sent, pieces[i].iov_len);
        pieces[i].iov_base = static_cast<char *>(pieces[i].iov_base) + n;
        pieces[i].iov_len -= n;
        sent -= n;
    }
}

} // namespace vnt
