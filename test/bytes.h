// bytes.h: for tests: bytes as people write them, and moving them through descriptors.

#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vnt {

// "00 00 03 e8" as the bytes themselves.
inline std::string bytes(const std::string &text)
{
    std::string out;
    const char *at = text.c_str();
    int n = 0;
    for (unsigned value; sscanf(at, "%x%n", &value, &n) == 1; at += n)
        out.push_back(static_cast<char>(value));
    return out;
}

// Bytes as "00 00 03 e8".
inline std::string hex(const std::string &raw)
{
    std::string out;
    char two[4];
    for (unsigned char c : raw) {
        snprintf(two, sizeof two, "%02x ", c);
        out += two;
    }
    if (!out.empty()) out.pop_back();
    return out;
}

// A worker's id as it travels before the first message: in the order of the machine.
inline std::string raw_id(int64_t id)
{
    return std::string(reinterpret_cast<char *>(&id), sizeof id);
}

// What comes out of a descriptor, at most `n` bytes; fewer when the other end is closed.
inline std::string take_from(int fd, size_t n)
{
    std::string out;
    char buffer[65536];
    while (out.size() < n) {
        ssize_t got = read(fd, buffer, std::min(sizeof buffer, n - out.size()));
        if (got <= 0) break;
        out.append(buffer, static_cast<size_t>(got));
    }
    return out;
}

// Whether all of it went in.
inline bool give_to(int fd, const std::string &raw)
{
    for (size_t at = 0; at < raw.size();) {
        ssize_t n = send(fd, raw.data() + at, raw.size() - at, MSG_NOSIGNAL);
        if (n < 0 && errno == ENOTSOCK) n = write(fd, raw.data() + at, raw.size() - at);
        if (n <= 0) return false;
        at += static_cast<size_t>(n);
    }
    return true;
}

// An address of this host alone, and a socket that listens on a free port of it.
inline sockaddr_in loopback(int port)
{
    sockaddr_in a = {};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return a;
}
inline int listener_open(int backlog, int *port)
{
    sockaddr_in a = loopback(0);
    socklen_t length = sizeof a;
    auto *at = reinterpret_cast<sockaddr *>(&a);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(fd, at, length) != 0 || listen(fd, backlog) != 0 || getsockname(fd, at, &length) != 0)
        abort();
    *port = ntohs(a.sin_port);
    return fd;
}

} // namespace vnt
