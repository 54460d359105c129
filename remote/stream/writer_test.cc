#include "remote/stream/writer.h"

#include "test/arrays.h"
#include "test/folders.h"
#include "test/streams.h"

#include <cerrno>
#include <thread>

#include <fcntl.h>

namespace vnt {

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

// A descriptor that does not block takes part of a block; the rest follows when it has room.
TEST(Writer, WhatWasNotTakenFollowsLater)
{
    stream_end s;
    fcntl(s.own, F_SETFL, O_NONBLOCK);
    chunked<double> a{std::vector<double>(1000000, 1.0)};
    std::string got, one = bytes("3f f0 00 00 00 00 00 00"), expected;
    for (int i = 0; i < 1000000; i++)
        expected += one;
    std::thread peer([&] { got = s.take(4 + 20 + 8000000); });
    EXPECT_EQ(begun(s)->ops.writearray(s.near, "f", &a.a), 0);
    EXPECT_EQ(s.near->ops.endoutmsg(s.near), 0);
    peer.join();
    EXPECT_TRUE(got.substr(24) == expected);
}

// Of a mapping that was cut the rest of the page reads as zeros, and the pages behind end the
// process.
TEST(Writer, AFileThatHasShrunkIsAnErrorAndNoSignal)
{
    const struct {
        size_t size, shrunk;
    } cases[] = {{100, 99}, {65536, 0}, {65537, 65536}, {300000, 270000}, {300000, 300000}};
    for (auto &c : cases) {
        stream_end s;
        const scratch file(".shrinking", std::string(c.size, 'x'));
        std::string got;
        message_file sent;
        ASSERT_EQ(message_set_file(&sent, file.name.c_str()), 0);
        EXPECT_EQ(truncate(file.name.c_str(), static_cast<off_t>(c.shrunk)), 0);
        std::thread peer([&] { got = s.take(SIZE_MAX); });
        int rc = begun(s)->ops.writefile(s.near, "f", &sent);
        s.near->ops.endoutmsg(s.near);
        shutdown(s.own, SHUT_WR);
        peer.join();
        EXPECT_EQ(rc, c.shrunk == c.size ? 0 : MESSAGE_IO) << c.size;
        EXPECT_TRUE(rc != 0 || got.ends_with(std::string(c.size, 'x')));
        message_unset_file(&sent);
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

} // namespace vnt
