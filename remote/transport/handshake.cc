#include "remote/transport/handshake.h"

#include "remote/base/io.h"
#include "remote/base/log.h"

#include <cerrno>
#include <endian.h>

namespace vnt {

// A connect that a signal has interrupted goes on by itself: its outcome is waited for.
static int connected(int fd)
{
    if (io_wait(fd, POLLOUT, -1, CLOCK_NEVER) < 0) return -1;
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

static int ask(const tcpip_transport *t, int fd, uint32_t action)
{
    if (action != ACTION_NEW && action != ACTION_RECONNECT) return MESSAGE_INVALID;
    char request[12];
    uint32_t word = htobe32(action);
    memcpy(request, &word, sizeof word);
    memcpy(request + sizeof word, &t->workerid, sizeof t->workerid);
    size_t n = action == ACTION_NEW ? sizeof word : sizeof request;
    return io_writeall(fd, request, n, -1, CLOCK_NEVER) == 0 ? 0 : MESSAGE_IO;
}

static bool receive(int fd, void *bytes, size_t n)
{
    return io_readall(fd, bytes, n, -1, CLOCK_NEVER) == 0;
}

static int answer(tcpip_transport *t, int fd)
{
    uint16_t status;
    if (!receive(fd, &status, sizeof status)) return MESSAGE_IO;
    status = be16toh(status);
    if (status != HANDSHAKE_OK) {
        trace_line(1, "Error code from worker: %d\n", status);
        return status;
    }
    if (!receive(fd, &t->workerid, sizeof t->workerid)) return MESSAGE_IO;
    return t->workerid != 0 ? 0 : MESSAGE_NOCONNECTION;
}

int contactserver(tcpip_transport *t, int fd, uint32_t action)
{
    int rc = reach(t, fd);
    if (rc == 0) rc = ask(t, fd, action);
    return rc == 0 ? answer(t, fd) : rc;
}

} // namespace vnt
