#include "fdio/writer.h"

#include "test/allocations.h"
#include "test/fields.h"
#include "test/streams.h"

#include <cerrno>
#include <csignal>
#include <numeric>
#include <thread>

#include <fcntl.h>

static stream *begun(stream_end &s)
{
    EXPECT_EQ(s.near->ops.startoutmsg(s.near, 1000, nullptr, nullptr), 0);
    return s.near;
}

// Ends the message and returns what stands behind its id.
static std::string written(stream_end &s, size_t n)
{
    EXPECT_EQ(s.near->ops.endoutmsg(s.near), 0);
    EXPECT_EQ(s.arrived(), int(n) + 4);
    EXPECT_EQ(s.takehex(4), "00 00 03 e8");
    return s.takehex(n);
}

TEST(Writer, AMessageIsItsIdAndLeavesAtItsEnd)
{
    stream_end s;
    EXPECT_EQ(s.near->ops.getcurrentoutmsg(s.near), -1);
    begun(s);
    EXPECT_EQ(s.near->ops.getcurrentoutmsg(s.near), 1000);
    EXPECT_EQ(s.arrived(), 0);
    EXPECT_EQ(written(s, 0), "");
    EXPECT_EQ(s.near->ops.getcurrentoutmsg(s.near), -1);
}

TEST(Writer, NumbersAreBigEndianWithoutGaps)
{
    stream_end s;
    const stream_operations &ops = begun(s)->ops;
    EXPECT_EQ(ops.writebyte(s.near, "f", -1), 0);
    EXPECT_EQ(ops.writeshort(s.near, "f", -2), 0);
    EXPECT_EQ(ops.writeint(s.near, "f", 0x01020304), 0);
    EXPECT_EQ(ops.writelong(s.near, "f", -2), 0);
    EXPECT_EQ(ops.writeubyte(s.near, "f", 200), 0);
    EXPECT_EQ(ops.writeushort(s.near, "f", 0xfffe), 0);
    EXPECT_EQ(ops.writeuint(s.near, "f", 0xfffffffe), 0);
    EXPECT_EQ(ops.writeulong(s.near, "f", 1), 0);
    EXPECT_EQ(ops.writefloat(s.near, "f", 1.0f), 0);
    EXPECT_EQ(ops.writedouble(s.near, "f", 1.0), 0);
    EXPECT_EQ(written(s, 42), "ff ff fe 01 02 03 04 ff ff ff ff ff ff ff fe "
                              "c8 ff fe ff ff ff fe 00 00 00 00 00 00 00 01 "
                              "3f 80 00 00 3f f0 00 00 00 00 00 00");
}

TEST(Writer, StringsCarryTheirFlagAndLength)
{
    stream_end s;
    message_string absent = {0, 5, nullptr, 0};
    message_string empty = {1, 0, nullptr, 0};
    message_string odd = borrowed("ab");
    odd.present = 258; // the flag travels as it stands
    const stream_operations &ops = begun(s)->ops;
    EXPECT_EQ(ops.writestring(s.near, "f", &absent), 0);
    EXPECT_EQ(ops.writestring(s.near, "f", &empty), 0);
    EXPECT_EQ(ops.writestring(s.near, "f", &odd), 0);
    EXPECT_EQ(written(s, 26), "00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 00 "
                              "00 00 01 02 00 00 00 02 61 62");
}

TEST(Writer, ArraysCarryTotalTypeAndChunks)
{
    stream_end s;
    array_of<int32_t> ints(TYPE_INT, {{1}, {2, -1}});
    array_of<message_string> strings(TYPE_STRING, {{borrowed("x"), {}}});
    message_array none = {-3, TYPE_DOUBLE, 0, nullptr, {}};
    message_array nochunks = {3, TYPE_DOUBLE, 0, nullptr, {}};
    const stream_operations &ops = begun(s)->ops;
    EXPECT_EQ(ops.writearray(s.near, "f", ints), 0);
    EXPECT_EQ(ops.writearray(s.near, "f", strings), 0);
    EXPECT_EQ(ops.writearray(s.near, "f", nullptr), 0);
    EXPECT_EQ(ops.writearray(s.near, "f", &none), 0);
    EXPECT_EQ(ops.writearray(s.near, "f", &nochunks), 0);
    EXPECT_EQ(written(s, 36 + 37 + 12 + 12 + 16),
              "00 00 00 00 00 00 00 03 00 00 00 03 00 00 00 02 "
              "00 00 00 01 00 00 00 01 00 00 00 02 00 00 00 02 ff ff ff ff "
              "00 00 00 00 00 00 00 02 00 00 00 0b 00 00 00 01 00 00 00 02 "
              "00 00 00 01 00 00 00 01 78 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 0a "
              "00 00 00 00 00 00 00 03 00 00 00 0a 00 00 00 00");
}

TEST(Writer, AnUnknownElementTypeWritesNothing)
{
    stream_end s;
    message_array bad = {1, 12, 0, nullptr, {}};
    EXPECT_EQ(begun(s)->ops.writearray(s.near, "f", &bad), MESSAGE_INVALID);
    EXPECT_EQ(written(s, 0), "");
}

TEST(Writer, TheBufferLeavesWhenTheNextValueDoesNotFit)
{
    stream_end s;
    const stream_operations &ops = begun(s)->ops;
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
}

// Sizes around the buffer's, the small blocks' and the scratch block's, with the buffer empty and
// not, against a plain conversion.
template <class element> static void roundsizes(uint32_t type, int shift)
{
    for (size_t n : {8180, 8192, 65536, 65537, 262144, 300001}) {
        array_of<element> a(type, {std::vector<element>(n / sizeof(element) + 1)});
        std::vector<element> &v = a.chunks.begin()[0];
        std::iota(v.begin(), v.end(), element(1));
        stream_end s;
        std::string expected, got;
        for (element e : v) {
            uint64_t wire = 0;
            memcpy(&wire, &e, sizeof e);
            for (int i = int(sizeof e) - 1; i >= 0; i--)
                expected.push_back(char(wire >> (8 * i)));
        }
        std::thread peer([&] { got = s.take(4 + size_t(shift) + 20 + expected.size()); });
        begun(s);
        for (int i = 0; i < shift; i++)
            s.near->ops.writebyte(s.near, "f", 0);
        EXPECT_EQ(s.near->ops.writearray(s.near, "f", a), 0);
        EXPECT_EQ(s.near->ops.endoutmsg(s.near), 0);
        peer.join();
        EXPECT_TRUE(got.substr(4 + size_t(shift) + 20) == expected) << type << " " << n;
    }
}

TEST(Writer, BlocksOfAllSizesLeaveWhole)
{
    for (int shift : {0, 1}) {
        roundsizes<int8_t>(TYPE_BYTE, shift);
        roundsizes<int16_t>(TYPE_SHORT, shift);
        roundsizes<float>(TYPE_FLOAT, shift);
        roundsizes<double>(TYPE_DOUBLE, shift);
    }
    allocations_limit(200000); // the scratch block cannot be had
    roundsizes<int64_t>(TYPE_LONG, 3);
    allocations_limit(0);
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
        array_of<int8_t> block(TYPE_BYTE, {std::vector<int8_t>(10000000)});
        s->ops.startoutmsg(s, 1, nullptr, nullptr);
        EXPECT_EQ(s->ops.writearray(s, "f", block), MESSAGE_IO);
        EXPECT_EQ(errno, ETIMEDOUT);
        fdio_destroy(s);
        close(fds[0]);
        close(fds[1]);
    }
}

// A descriptor that does not block takes part of the buffer; the rest follows when it has room.
TEST(Writer, WhatWasNotTakenFollowsLater)
{
    stream_end s;
    fcntl(s.own, F_SETFL, O_NONBLOCK);
    array_of<double> a(TYPE_DOUBLE, {std::vector<double>(1000000, 1.0)});
    std::string got;
    std::thread peer([&] { got = s.take(4 + 20 + 8000000); });
    EXPECT_EQ(begun(s)->ops.writearray(s.near, "f", a), 0);
    EXPECT_EQ(s.near->ops.endoutmsg(s.near), 0);
    peer.join();
    EXPECT_EQ(got.size(), 8000024u);
    EXPECT_EQ(hex(got.substr(8000016)), "3f f0 00 00 00 00 00 00");
}
