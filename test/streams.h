// streams.h: a stream under test at one end and a raw descriptor at the other, and bytes written as
// people read them.

#pragma once

#include "fdio/fdio.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

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

// Bytes as "00 00 03 e8", for messages of failing tests.
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

// What came out of a descriptor, at most `n` bytes; fewer when the other end is closed.
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

inline void give_to(int fd, const std::string &raw)
{
    for (size_t at = 0; at < raw.size();) {
        ssize_t n = send(fd, raw.data() + at, raw.size() - at, MSG_NOSIGNAL);
        if (n < 0) n = write(fd, raw.data() + at, raw.size() - at);
        if (n <= 0) break;
        at += static_cast<size_t>(n);
    }
}

// A stream over one end of a socket pair.  The test plays the peer at the other.
struct stream_end {
    stream *near = nullptr;
    int own = -1;  // the stream's descriptor
    int peer = -1; // the test's

    explicit stream_end(int uselistener = 1)
    {
        int fds[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
        own = fds[0];
        peer = fds[1];
        EXPECT_EQ(fdio_create(&near, own, own, uselistener, nullptr, nullptr), 0);
    }
    ~stream_end()
    {
        fdio_destroy(near);
        close(own);
        hangup();
    }
    stream_end(const stream_end &) = delete;
    stream_end &operator=(const stream_end &) = delete;

    fdio *record() { return static_cast<fdio *>(near); }

    // How many bytes have left the stream and not been taken.
    int arrived()
    {
        int n = -1;
        ioctl(peer, FIONREAD, &n);
        return n;
    }
    std::string take(size_t n) { return take_from(peer, n); }
    std::string takehex(size_t n) { return hex(take(n)); }
    void give(const std::string &raw) { give_to(peer, raw); }
    void givehex(const std::string &text) { give(bytes(text)); }
    void hangup()
    {
        if (peer >= 0) close(peer);
        peer = -1;
    }
};

inline fdio_timeout milliseconds(int64_t ms)
{
    return {{0, 0}, {ms / 1000, ms % 1000 * 1000}, 1};
}
