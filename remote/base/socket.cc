#include "remote/base/socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace vnt {

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
    } else {
        snprintf(text, sizeof text, "unknown(%d):%d", address->ss_family, -1);
    }
}

void socknam(int fd, int peer, char (&text)[SOCKNAM_SIZE])
{
    struct sockaddr_storage address = {};
    socklen_t length = sizeof address;
    auto where = reinterpret_cast<struct sockaddr *>(&address);
    int rc = peer ? getpeername(fd, where, &length) : getsockname(fd, where, &length);
    if (rc != 0)
        snprintf(text, sizeof text, "unknown");
    else
        address_name(&address, text);
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
