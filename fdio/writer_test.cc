#include "fdio/writer.h"

#include "test/allocations.h"
#include "test/arrays.h"
#include "test/streams.h"

#include <cerrno>
#include <thread>

#include <fcntl.h>

static stream *begun(stream_end &s)
{
    EXPECT_EQ(s.near->ops.startoutmsg(s.near, 1000, nullptr, nullptr), 0);
    return s.near;
}

TEST(Writer, AMessageLeavesAtItsEndOrWhenTheNextValueDoesNotFit)
{
    stream_end s;
    EXPECT_EQ(s.near->ops.getcurrentoutmsg(s.near), -1);
    const stream_operations &ops = begun(s)->ops;
    EXPECT_EQ(ops.getcurrentoutmsg(s.near), 1000);
    for (int i = 0; i < 8192 / 4 - 1; i++)
        ops.writeint(s.near, "f", i);
    EXPECT_EQ(s.arrived(), 0);
    ops.writebyte(s.near, "f", 1);
    EXPECT_EQ(s.arrived(), 8192);
    for (int i = 0; i < 8191; i++)
        ops.writebyte(s.near, "f", 1);
    EXPECT_EQ(s.arrived(), 8192);
    ops.writeshort(s.near, "f", 1);
    EXPECT_EQ(s.arrived(), 2 * 8192);
    ops.endoutmsg(s.near);
    EXPECT_EQ(s.arrived(), 2 * 8192 + 2);
    EXPECT_EQ(ops.getcurrentoutmsg(s.near), -1);
}

// A descriptor that does not block takes part of a block; the rest follows when it has room.  The
// second time the block that conversions need cannot be had.
TEST(Writer, WhatWasNotTakenFollowsLater)
{
    for (uint64_t limit : {0, 200000}) {
        stream_end s;
        fcntl(s.own, F_SETFL, O_NONBLOCK);
        chunked<double> a{std::vector<double>(1000000, 1.0)};
        std::string got, one = bytes("3f f0 00 00 00 00 00 00"), expected;
        for (int i = 0; i < 1000000; i++)
            expected += one;
        std::thread peer([&] { got = s.take(4 + 20 + 8000000); });
        allocations_limit(limit);
        EXPECT_EQ(begun(s)->ops.writearray(s.near, "f", &a.a), 0);
        EXPECT_EQ(s.near->ops.endoutmsg(s.near), 0);
        allocations_limit(0);
        peer.join();
        EXPECT_TRUE(got.substr(24) == expected);
    }
}

TEST(Writer, AClosedPeerIsAnErrorAndNoSignal)
{
    stream_end s;
    begun(s);
    s.hangup();
    EXPECT_EQ(s.near->ops.endoutmsg(s.near), MESSAGE_IO);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(s.near->ops.getcurrentoutmsg(s.near), -1);
    EXPECT_EQ(s.record()->outlen, 4u); // what was to be sent stays
}

// A pipe's writer must not block in a large write when a time-out says how long it may wait.
TEST(Writer, APeerThatTakesNothingIsATimeoutOnSocketsAndPipes)
{
    for (bool pipes : {false, true}) {
        int fds[2];
        ASSERT_EQ(pipes ? pipe(fds) : socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
        fdio_timeout limit = milliseconds(20);
        stream *s;
        ASSERT_EQ(fdio_create(&s, fds[1], fds[1], 0, nullptr, &limit), 0);
        chunked<char> block{std::vector<char>(10000000)};
        EXPECT_EQ(s->ops.writearray(s, "f", &block.a), MESSAGE_IO);
        EXPECT_EQ(errno, ETIMEDOUT);
        fdio_destroy(s);
        close(fds[0]);
        close(fds[1]);
    }
}
