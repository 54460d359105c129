#include "remote/base/socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace vnt {

static const sockaddr_un *as_path(const sockaddr_storage *address)
{
    auto *un = reinterpret_cast<const sockaddr_un *>(address);
    return address->ss_family == AF_UNIX && un->sun_path[0] != '\0' ? un : nullptr;
}

void address_name(const sockaddr_storage *address, char (&text)[SOCKNAM_SIZE])
{
    char name[INET6_ADDRSTRLEN] = "";
    if (address->ss_family == AF_INET) {
        auto in = reinterpret_cast<const struct sockaddr_in *>(address);
        inet_ntop(AF_INET, &in->sin_addr, name, sizeof name);
        snprintf(text, sizeof text, "%s:%d", name, ntohs(in->sin_port));
    } else if (address->ss_family == AF_INET6) {
        auto in6 = reinterpret_cast<const struct sockaddr_in6 *>(address);
        inet_ntop(AF_INET6, &in6->sin6_addr, name, sizeof name);
        snprintf(text, sizeof text, "%s:%d", name, ntohs(in6->sin6_port));
    } else if (const sockaddr_un *un = as_path(address)) {
        const int length = static_cast<int>(strnlen(un->sun_path, sizeof un->sun_path));
        snprintf(text, sizeof text, "unix:%.*s", length, un->sun_path);
    } else {
        snprintf(text, sizeof text, "unknown(%d):%d", address->ss_family, -1);
    }
}

static bool address_get(int fd, bool peer, sockaddr_storage *address)
{
    *address = {};
    socklen_t length = sizeof *address;
    auto *where = reinterpret_cast<sockaddr *>(address);
    return (peer ? getpeername : getsockname)(fd, where, &length) == 0;
}

static void process_add(int fd, char (&text)[SOCKNAM_SIZE])
{
    ucred client;
    socklen_t length = sizeof client;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &client, &length) != 0) return;
    const size_t n = strlen(text);
    snprintf(text + n, sizeof text - n, ",uid=%u,pid=%d", client.uid, client.pid);
}

void socknam(int fd, int peer, char (&text)[SOCKNAM_SIZE])
{
    sockaddr_storage address;
    bool known = address_get(fd, peer != 0, &address);
    // A client's socket has no name, so it goes by the server's and by its process.
    const bool client =
        known && peer && address.ss_family == AF_UNIX && as_path(&address) == nullptr;
    if (client) known = address_get(fd, false, &address);
    snprintf(text, sizeof text, "unknown");
    if (known) address_name(&address, text);
    if (client && as_path(&address) != nullptr) process_add(fd, text);
}

bool path_address(const char *path, sockaddr_un *address)
{
    *address = {};
    address->sun_family = AF_UNIX;
    if (strlen(path) < sizeof address->sun_path) {
        strcpy(address->sun_path, path);
        return true;
    }
    errno = ENAMETOOLONG;
    return false;
}

void socket_tune(int fd)
{
    auto set = [fd](int level, int option, int value) {
        setsockopt(fd, level, option, &value, sizeof value);
    };
    set(IPPROTO_TCP, TCP_NODELAY, 1);
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, 25);
    set(IPPROTO_TCP, TCP_KEEPINTVL, 5);
    set(IPPROTO_TCP, TCP_KEEPCNT, 4);
}

static bool silent(int fd)
{
    struct tcp_info info = {};
    socklen_t length = sizeof info;
    if (getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &length) != 0) return false;
    return info.tcpi_retransmits + info.tcpi_probes >= 2 &&
           info.tcpi_last_ack_recv > SOCKET_SILENCE;
}

bool socket_drop_silent(int fd)
{
    return silent(fd) && shutdown(fd, SHUT_RDWR) == 0;
}

bool socket_alive(int fd)
{
    char byte;
    ssize_t n;
    do
        n = recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    while (n < 0 && errno == EINTR);
    return n > 0 || (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK));
}

} // namespace vnt
