#include "remote/transport/handshake.h"

#include "remote/base/log.h"

#include <cerrno>
#include <endian.h>
#include <poll.h>
#include <unistd.h>

namespace vnt {

// A connect that a signal has interrupted goes on by itself: its outcome is waited for.
static int connected(int fd)
{
    pollfd p = {fd, POLLOUT, 0};
    while (poll(&p, 1, -1) < 0)
        if (errno != EINTR) return -1;
    int error = 0;
    socklen_t length = sizeof error;
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0) return -1;
    errno = error;
    return error == 0 ? 0 : -1;
}

static int reach(const tcpip_transport *t, int fd)
{
    auto *address = reinterpret_cast<const sockaddr *>(t->address);
    int rc = connect(fd, address, static_cast<socklen_t>(t->addresslen));
    if (rc != 0 && errno == EINTR) rc = connected(fd);
    if (rc == 0) return 0;
    int error = errno;
    trace_line(1, "connect: %d/%d\n", error, error);
    errno = error;
    return MESSAGE_NOCONNECTION;
}

static int sendall(int fd, const void *bytes, size_t n)
{
    auto *at = static_cast<const char *>(bytes);
    while (n > 0) {
        ssize_t w = send(fd, at, n, MSG_NOSIGNAL);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) return MESSAGE_IO;
        at += w;
        n -= static_cast<size_t>(w);
    }
    return 0;
}

static int recvall(int fd, void *bytes, size_t n)
{
    auto *at = static_cast<char *>(bytes);
    while (n > 0) {
        ssize_t r = recv(fd, at, n, 0);
        if (r < 0 && errno == EINTR) continue;
        if (r == 0) errno = ECONNRESET;
        if (r <= 0) return MESSAGE_IO;
        at += r;
        n -= static_cast<size_t>(r);
    }
    return 0;
}

static int ask(const tcpip_transport *t, int fd, uint32_t action)
{
    if (action != ACTION_NEW && action != ACTION_RECONNECT) return MESSAGE_INVALID;
    char request[12];
    uint32_t word = htobe32(action);
    memcpy(request, &word, sizeof word);
    memcpy(request + sizeof word, &t->workerid, sizeof t->workerid);
    return sendall(fd, request, action == ACTION_NEW ? sizeof word : sizeof request);
}

static int answer(tcpip_transport *t, int fd)
{
    uint16_t status;
    int rc = recvall(fd, &status, sizeof status);
    if (rc != 0) return rc;
    status = be16toh(status);
    if (status != HANDSHAKE_OK) {
        trace_line(1, "Error code from worker: %d\n", status);
        return status;
    }
    rc = recvall(fd, &t->workerid, sizeof t->workerid);
    if (rc != 0) return rc;
    return t->workerid != 0 ? 0 : MESSAGE_NOCONNECTION;
}

int contactserver(tcpip_transport *t, int fd, uint32_t action)
{
    int rc = reach(t, fd);
    if (rc == 0) rc = ask(t, fd, action);
    return rc == 0 ? answer(t, fd) : rc;
}

} // namespace vnt
