// streams.h: a stream under test at one end and a raw descriptor, or another stream, at the other.

#pragma once

#include "remote/stream/fdio.h"
#include "test/bytes.h"

#include <gtest/gtest.h>

#include <string>

#include <sys/ioctl.h>
#include <sys/socket.h>

namespace vnt {

// A stream over one end of a socket pair.  The test plays the peer at the other.
struct stream_end {
    stream *near = nullptr;
    stream *far = nullptr; // over the peer's descriptor, for tests of both directions
    int own = -1;          // the stream's descriptor
    int peer = -1;         // the test's

    explicit stream_end(int uselistener = 1)
    {
        int fds[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
        own = fds[0];
        peer = fds[1];
        EXPECT_EQ(fdio_create(&near, own, own, uselistener, nullptr, nullptr), 0);
        EXPECT_EQ(fdio_create(&far, peer, peer, 0, nullptr, nullptr), 0);
    }
    ~stream_end()
    {
        fdio_destroy(near);
        fdio_destroy(far);
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
    std::string take_hex(size_t n) { return hex(take(n)); }
    void give(const std::string &raw) { EXPECT_TRUE(give_to(peer, raw)); }
    void give_hex(const std::string &text) { give(bytes(text)); }
    // The peer's end: it says no more, or is gone.
    void finish() { shutdown(peer, SHUT_WR); }
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

} // namespace vnt
