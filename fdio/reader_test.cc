#include "fdio/reader.h"

#include "test/allocations.h"
#include "test/fields.h"
#include "test/streams.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include <pthread.h>

static const char INTS[] = "00 00 00 00 00 00 00 03 00 00 00 03 00 00 00 02 "
                           "00 00 00 01 00 00 00 01 00 00 00 02 00 00 00 02 ff ff ff ff";

TEST(Reader, AnIdStaysCurrentUntilTheMessageEnds)
{
    stream_end s;
    int32_t id = 0;
    s.givehex("00 00 03 e8");
    EXPECT_EQ(s.near->ops.getcurrentinmsg(s.near), -1);
    EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), 0);
    EXPECT_EQ(id, 1000);
    EXPECT_EQ(s.near->ops.getcurrentinmsg(s.near), 1000);
    EXPECT_EQ(s.near->ops.endinmsg(s.near), 0);
    EXPECT_EQ(s.near->ops.getcurrentinmsg(s.near), -1);
}

TEST(Reader, NumbersComeBackAndNothingBehindThemIsTaken)
{
    stream_end s;
    const stream_operations &ops = s.near->ops;
    s.givehex("ff ff fe 01 02 03 04 ff ff ff ff ff ff ff fe "
              "c8 ff fe ff ff ff fe 00 00 00 00 00 00 00 01 "
              "3f 80 00 00 3f f0 00 00 00 00 00 00 aa");
    int8_t b;
    int16_t h;
    int32_t i;
    int64_t l;
    uint8_t ub;
    uint16_t uh;
    uint32_t ui;
    uint64_t ul;
    float f;
    double d;
    EXPECT_EQ(ops.readbyte(s.near, "f", &b) + ops.readshort(s.near, "f", &h) +
                  ops.readint(s.near, "f", &i) + ops.readlong(s.near, "f", &l) +
                  ops.readubyte(s.near, "f", &ub) + ops.readushort(s.near, "f", &uh) +
                  ops.readuint(s.near, "f", &ui) + ops.readulong(s.near, "f", &ul) +
                  ops.readfloat(s.near, "f", &f) + ops.readdouble(s.near, "f", &d),
              0);
    EXPECT_TRUE(b == -1 && h == -2 && i == 0x01020304 && l == -2);
    EXPECT_TRUE(ub == 200 && uh == 0xfffe && ui == 0xfffffffe && ul == 1);
    EXPECT_TRUE(f == 1.0f && d == 1.0);
    EXPECT_EQ(hex(take_from(s.own, 1)), "aa");
}

TEST(Reader, StringsAndArraysComeBack)
{
    stream_end s;
    message_string text;
    message_array a;
    s.givehex("00 00 01 02 00 00 00 02 61 62");
    ASSERT_EQ(s.near->ops.readstring(s.near, "f", &text), 0);
    EXPECT_EQ(text.present, 258u);
    EXPECT_STREQ(text.data, "ab"); // spare zeros
    s.near->ops.freestring(s.near, &text);
    for (const char *empty : {"00 00 00 00 00 00 00 09", "00 00 00 01 00 00 00 00"}) {
        s.givehex(empty);
        ASSERT_EQ(s.near->ops.readstring(s.near, "f", &text), 0);
        EXPECT_TRUE(text.length == 0 && text.data == nullptr);
    }
    s.givehex(INTS);
    ASSERT_EQ(s.near->ops.readarray(s.near, "f", &a), 0);
    array_of<int32_t> ints(TYPE_INT, {{1}, {2, -1}});
    EXPECT_TRUE(same(a, ints.a));
    s.near->ops.freearray(s.near, &a);
    EXPECT_EQ(a.chunks, nullptr);
}

TEST(Reader, OddArraysAreTakenAsTheyCome)
{
    stream_end s;
    message_array a;
    // Type 15 without chunks; a total below 1; a total that is not the sum; a chunk of nothing.
    s.givehex("00 00 00 00 00 00 00 05 00 00 00 0f 00 00 00 00");
    EXPECT_EQ(s.near->ops.readarray(s.near, "f", &a), 0);
    EXPECT_TRUE(a.type == 15 && a.total == 5 && a.nchunks == 0);
    s.givehex("ff ff ff ff ff ff ff ff 00 00 00 03");
    EXPECT_EQ(s.near->ops.readarray(s.near, "f", &a), 0);
    EXPECT_EQ(a.nchunks, 0u);
    for (const char *type : {"01", "0a", "0b"}) {
        s.givehex(std::string("00 00 00 00 00 00 00 09 00 00 00 ") + type +
                  " 00 00 00 01 00 00 00 00");
        EXPECT_EQ(s.near->ops.readarray(s.near, "f", &a), 0);
        ASSERT_EQ(a.nchunks, 1u);
        EXPECT_TRUE(a.total == 9 && a.chunks[0].count == 0 && a.chunks[0].data != nullptr);
        s.near->ops.freearray(s.near, &a);
    }
    s.givehex("00 00 00 00 00 00 00 05 00 00 00 0f 00 00 00 01");
    EXPECT_EQ(s.near->ops.readarray(s.near, "f", &a), MESSAGE_INVALID);
}

// Whatever the peer promises: a size without bytes behind it costs little memory.
TEST(Reader, MemoryGrowsWithTheBytesReceivedNotWithThosePromised)
{
    const char *heads[] = {
        "00 00 00 00 ff ff ff ff 00 00 00 0a 00 00 00 01 ff ff ff ff", // doubles
        "00 00 00 00 ff ff ff ff 00 00 00 0b 00 00 00 01 ff ff ff ff", // strings
        "00 00 00 00 ff ff ff ff 00 00 00 0b ff ff ff ff 00 00 00 00", // chunks
    };
    for (const char *head : heads) {
        stream_end s;
        message_array a;
        int64_t before = allocations_held();
        s.givehex(head);
        shutdown(s.peer, SHUT_WR);
        allocations_limit(4 << 20);
        EXPECT_EQ(s.near->ops.readarray(s.near, "f", &a), MESSAGE_IO) << head;
        allocations_limit(0);
        EXPECT_EQ(allocations_held(), before);
        EXPECT_EQ(a.chunks, nullptr);
    }
    stream_end s;
    message_string text;
    s.givehex("00 00 00 01 ff ff ff ff 61");
    shutdown(s.peer, SHUT_WR);
    allocations_limit(4 << 20);
    EXPECT_EQ(s.near->ops.readstring(s.near, "f", &text), MESSAGE_IO);
    allocations_limit(0);
}

// An array that does not fit is read to its end: what follows it is found in its place.
TEST(Reader, AnArrayThatDoesNotFitIsConsumed)
{
    stream_end s;
    for (const char *wire : {INTS, "00 00 00 00 00 00 00 03 00 00 00 0b 00 00 00 02 "
                                   "00 00 00 02 00 00 00 01 00 00 00 01 78 "
                                   "00 00 00 01 00 00 00 02 79 7a "
                                   "00 00 00 01 00 00 00 01 00 00 00 01 78"}) {
        message_array a;
        int64_t steps = allocations_fail_each(0, MESSAGE_NOMEMORY, [&] {
            int32_t next = 0;
            s.give(bytes(wire) + bytes("00 00 00 07"));
            int rc = s.near->ops.readarray(s.near, "f", &a);
            EXPECT_EQ(s.near->ops.readint(s.near, "f", &next), 0);
            EXPECT_EQ(next, 7);
            return rc;
        });
        EXPECT_GE(steps, 3);
        s.near->ops.freearray(s.near, &a);
    }
}

TEST(Reader, ABlockGrowsOverSeveralStepsAndComesBackWhole)
{
    for (size_t n : {131071, 131072, 131073, 700001}) {
        stream_end s;
        array_of<double> a(TYPE_DOUBLE, {std::vector<double>(n)});
        for (size_t i = 0; i < n; i++)
            a.chunks[0][i] = double(i) / 3;
        stream *far;
        ASSERT_EQ(fdio_create(&far, s.peer, s.peer, 0, nullptr, nullptr), 0);
        std::thread peer([&] {
            far->ops.writearray(far, "f", a);
            far->ops.endoutmsg(far);
        });
        message_array back;
        EXPECT_EQ(s.near->ops.readarray(s.near, "f", &back), 0);
        peer.join();
        EXPECT_TRUE(same(a.a, back)) << n;
        s.near->ops.freearray(s.near, &back);
        fdio_destroy(far);
    }
}

TEST(Reader, StringsOfAllLengthsComeBackFromAnArray)
{
    std::vector<std::string> texts;
    for (size_t n : {0, 1, 65535, 65536, 65537, 0, 1048577, 3})
        texts.push_back(std::string(n, char('a' + n % 26)));
    std::vector<message_string> strings(1); // the first is absent
    for (std::string &t : texts)
        strings.push_back({1, uint32_t(t.size()), t.data(), 0});
    array_of<message_string> a(TYPE_STRING, {strings, strings});
    stream_end s;
    stream *far;
    ASSERT_EQ(fdio_create(&far, s.peer, s.peer, 0, nullptr, nullptr), 0);
    std::thread peer([&] {
        far->ops.writearray(far, "f", a);
        far->ops.endoutmsg(far);
    });
    message_array back;
    EXPECT_EQ(s.near->ops.readarray(s.near, "f", &back), 0);
    peer.join();
    EXPECT_TRUE(same(a.a, back));
    s.near->ops.freearray(s.near, &back);
    fdio_destroy(far);
}

TEST(Reader, AFileComesBackAndAnErrorInItsContentsFreesItsName)
{
    stream_end s;
    message_file f;
    std::string name = "00 00 00 01 00 00 00 02 6d 00 ";
    s.givehex(name + "00 00 00 00 00 00 00 02 00 00 00 01 00 00 00 01 00 00 00 02 68 69");
    ASSERT_EQ(s.near->ops.readfile(s.near, "f", &f), 0);
    EXPECT_STREQ(f.name.data, "m");
    EXPECT_STREQ(static_cast<char *>(f.contents.chunks[0].data), "hi");
    s.near->ops.freefile(s.near, &f);
    int64_t before = allocations_held();
    s.givehex(name + "00 00 00 00 00 00 00 02 00 00 00 1f 00 00 00 01");
    EXPECT_EQ(s.near->ops.readfile(s.near, "f", &f), MESSAGE_INVALID);
    EXPECT_EQ(allocations_held(), before);
}

TEST(Reader, ASilentPeerIsATimeoutAndTheIdIsFoundWholeLater)
{
    stream_end s;
    int32_t id = 0;
    *s.near->ops.getreadtimeout(s.near) = milliseconds(20);
    s.givehex("00 00 03");
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), MESSAGE_IO);
        EXPECT_EQ(errno, ETIMEDOUT);
    }
    s.givehex("e8");
    EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), 0);
    EXPECT_EQ(id, 1000);
    s.hangup();
    EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), MESSAGE_IO);
    EXPECT_EQ(errno, ECONNRESET);
}

// Signals without a restart flag interrupt every call; a wait goes on with the time that is left.
TEST(Reader, SignalsDoNotEndAWaitNorProlongIt)
{
    static constexpr int MANY = 1000;
    struct sigaction action = {}, before;
    action.sa_handler = [](int) {};
    sigaction(SIGUSR2, &action, &before);
    for (bool limited : {false, true}) {
        stream_end s;
        int32_t id = 0;
        std::atomic<bool> over{false};
        int rounds = 0;
        if (limited) *s.near->ops.getreadtimeout(s.near) = milliseconds(100);
        pthread_t self = pthread_self();
        std::thread disturber([&] {
            for (; !over && rounds < MANY; rounds++) {
                usleep(10000);
                pthread_kill(self, SIGUSR2);
                if (!limited && rounds == 20) s.givehex("00 00 03 e8");
            }
        });
        EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), limited ? MESSAGE_IO : 0);
        over = true;
        disturber.join();
        EXPECT_LT(rounds, MANY);
    }
    sigaction(SIGUSR2, &before, nullptr);
}
