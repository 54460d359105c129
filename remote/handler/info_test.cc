#include "test/doubles/worker_double.h"

#include <gtest/gtest.h>

namespace vnt {

static void channel(int number, const char *text)
{
    solver.channel_func[number](solver.channel_handle[number], text);
}

TEST(Info, SendsEveryKindOfValueUnderEveryName)
{
    worker_double w;
    w.ask("OPENVANTO_REQ 0");
    const int8_t b[] = {'h', 'i'};
    const int16_t s[] = {-1, 2};
    const int32_t i[] = {-3};
    const int64_t l[] = {int64_t(1) << 40};
    const double d[] = {0.5, -1};
    EXPECT_EQ(VNTsendinfobyte(double_env, 1, 2, b), 0);
    EXPECT_EQ(w.hear(), "INFO 0 1 hi");
    EXPECT_EQ(VNTSsendinfoshort(double_env, 2, 2, s), 0);
    EXPECT_EQ(w.hear(), "INFO 0 2 [-1 2]");
    EXPECT_EQ(VNTLsendinfoint(double_env, -3, 1, i), 0);
    EXPECT_EQ(w.hear(), "INFO 0 -3 [-3]");
    EXPECT_EQ(VNTsendinfolong(double_env, 4, 1, l), 0);
    EXPECT_EQ(w.hear(), "INFO 0 4 [1099511627776]");
    EXPECT_EQ(VNTLsendinfodouble(double_env, 5, 2, d), 0);
    EXPECT_EQ(w.hear(), "INFO 0 5 [0.5 -1]");
    EXPECT_EQ(VNTsendinfoint(double_env, 6, 0, nullptr), 0);
    EXPECT_EQ(w.hear(), "INFO 0 6 -");
    EXPECT_EQ(VNTsendinfoint(reinterpret_cast<VNTENVptr>(&w), 1, 1, i), -1);
    EXPECT_TRUE(w.silent());
}

TEST(Info, KeepsWhatIsSaidWhileTheCallerIsAwayAndWantsIt)
{
    worker_double w;
    w.ask("OPENVANTO_REQ 0");
    channel(3, "dropped");
    w.ask("PROBINFO_REQ 0 env - - 23 4660");
    channel(3, "");
    EXPECT_EQ(w.hear(), "CHANNEL 3 \"\"");
    w.ask("DISCONNECT_REQ");
    w.parked();
    char text[] = "one";
    int32_t value = 2;
    channel(0, text);
    VNTsendinfoint(double_env, 9, 1, &value);
    text[0] = 'X'; // the queue has copies
    value = -1;
    channel(2, "three");
    channel(1, nullptr);
    EXPECT_TRUE(w.silent());
    w.release(4711);
    EXPECT_EQ(w.ask("GETNUMROWS_REQ 0 env lp"), "GETNUMROWS_RES 10"); // not back yet
    EXPECT_EQ(w.ask("RECONNECT_REQ"), "CHANNEL 0 \"one\"");
    EXPECT_EQ(w.hear(), "INFO 0 9 [2]");
    EXPECT_EQ(w.hear(), "CHANNEL 2 \"three\"");
    EXPECT_EQ(w.hear(), "CHANNEL 1 -");
    EXPECT_EQ(w.hear(), "RECONNECT_RES");
}

TEST(Info, OfOneThreadArrivesInOrderAndNoneBehindTheAnswerToADisconnect)
{
    static constexpr int THREADS = 3;
    static constexpr int VALUES = 200;
    worker_double w;
    w.ask("OPENVANTO_REQ 0");
    std::vector<std::thread> talkers;
    for (int32_t t = 0; t < THREADS; t++)
        talkers.emplace_back([t] {
            for (int32_t i = 0; i < VALUES; i++)
                VNTsendinfoint(double_env, t, 1, &i);
        });
    int next[THREADS] = {};
    int heard = 0;
    // The next message that comes from no thread.
    const auto other = [&] {
        for (;;) {
            std::string message = w.hear();
            int tag = 0, value = 0;
            if (sscanf(message.c_str(), "INFO 0 %d [%d]", &tag, &value) != 2) return message;
            EXPECT_EQ(value, next[tag]++);
            heard++;
        }
    };
    while (heard < THREADS * VALUES) {
        w.say("DISCONNECT_REQ");
        ASSERT_EQ(other(), "DISCONNECT_RES");
        w.parked();
        EXPECT_TRUE(w.silent());
        w.release(1);
        w.say("RECONNECT_REQ");
        ASSERT_EQ(other(), "RECONNECT_RES");
    }
    for (std::thread &t : talkers)
        t.join();
}

} // namespace vnt
