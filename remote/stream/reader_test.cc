#include "remote/stream/reader.h"

#include "remote/base/holders.h"
#include "test/allocations.h"
#include "test/streams.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/mman.h>
#include <thread>

namespace vnt {

// Whatever the peer promises: a size without bytes behind it costs little memory.
TEST(Reader, AnyPrefixCostsAtMostEightTimesItsBytesAndAMegabyte)
{
    const struct {
        const char *head;    // an array that promises everything
        const char *element; // and keeps sending this
    } peers[] = {
        {"00 00 00 00 ff ff ff ff 00 00 00 0a ff ff ff ff", "00 00 00 00"},       // empty chunks
        {"00 00 00 00 ff ff ff ff 00 00 00 01 ff ff ff ff", "00 00 00 01 61"},    // of a byte
        {"00 00 00 00 ff ff ff ff 00 00 00 0b ff ff ff ff", "00 00 00 00"},       // of strings
        {"00 00 00 00 ff ff ff ff 00 00 00 0b 00 00 00 01 ff ff ff ff",           // empty strings
         "00 00 00 01 00 00 00 00"},                                              //
        {"00 00 00 00 ff ff ff ff 00 00 00 0b 00 00 00 01 ff ff ff ff",           // of a byte
         "00 00 00 01 00 00 00 01 61"},                                           //
        {"00 00 00 00 ff ff ff ff 00 00 00 0a 00 00 00 01 ff ff ff ff", "40 00"}, // doubles
        {"00 00 00 00 ff ff ff ff 00 00 00 0b 00 00 00 01 00 00 00 01",           // a string
         "00 00 00 01 ff ff ff ff"},
    };
    for (auto &p : peers)
        for (size_t length : {0, 400000, 500000, 650000, 800000}) {
            std::string wire = bytes(p.head), element = bytes(p.element);
            while (wire.size() < length)
                wire += element;
            descriptor_holder file(memfd_create("prefix", MFD_CLOEXEC));
            ASSERT_TRUE(give_to(file.fd, wire) && lseek(file.fd, 0, SEEK_SET) == 0);
            stream *s;
            message_array a;
            ASSERT_EQ(fdio_create(&s, file.fd, -1, 1, nullptr, nullptr), 0);
            allocations_peak();
            int64_t before = allocations_held();
            EXPECT_EQ(s->ops.readarray(s, "f", &a), MESSAGE_IO);
            EXPECT_EQ(allocations_held(), before);
            auto most = static_cast<int64_t>(8 * wire.size() + (1 << 20));
            EXPECT_LE(allocations_peak(), most) << p.head << " " << p.element << " " << length;
            fdio_destroy(s);
        }
}

TEST(Reader, ASilentPeerIsATimeoutAndTheIdIsFoundWholeLater)
{
    stream_end s;
    int32_t id = 0;
    *s.near->ops.getreadtimeout(s.near) = milliseconds(20);
    s.give_hex("00 00 03");
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), MESSAGE_IO);
        EXPECT_EQ(errno, ETIMEDOUT);
        EXPECT_EQ(s.near->ops.getcurrentinmsg(s.near), -1);
    }
    s.give_hex("e8");
    EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), 0);
    EXPECT_EQ(id, 1000);
    EXPECT_EQ(s.near->ops.getcurrentinmsg(s.near), 1000);
    EXPECT_EQ(s.near->ops.endinmsg(s.near), 0);
    EXPECT_EQ(s.near->ops.getcurrentinmsg(s.near), -1);
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
                if (!limited && rounds == 20) s.give_hex("00 00 03 e8");
            }
        });
        errno = 0;
        EXPECT_EQ(s.near->ops.startinmsg(s.near, &id), limited ? MESSAGE_IO : 0);
        EXPECT_EQ(errno == ETIMEDOUT, limited);
        over = true;
        disturber.join();
        EXPECT_LT(rounds, MANY);
    }
    sigaction(SIGUSR2, &before, nullptr);
}

} // namespace vnt
