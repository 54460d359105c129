#include "test/doubles/worker_double.h"

#include <gtest/gtest.h>

namespace vnt {

// Answers its input in a doubled form, or what `mode` says.
struct echo_data {
    int64_t reported = -2; // output length to report in place of the input's
    VNTENVptr env = nullptr;
};

static int echo(VNTENVptr env, int32_t id, const void *input, int64_t inputlen, int64_t maxout,
                int64_t *outputlen, void *output, void *data)
{
    auto *told = static_cast<echo_data *>(data);
    told->env = env;
    const int64_t n = inputlen < maxout ? inputlen : maxout;
    if (n > 0) memcpy(output, input, static_cast<size_t>(n));
    *outputlen = told->reported == -2 ? n : told->reported;
    return id + 1;
}

static int other(VNTENVptr, int32_t, const void *, int64_t, int64_t, int64_t *, void *, void *)
{
    return 99;
}

TEST(UserFunction, IsRefusedWithoutOneBeforeAnythingElseIsLookedAt)
{
    worker_double w;
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 2 bad 5 abc 10"), "NAK USERFUNCTION_REQ 2 BAD_ARGUMENT");
    w.ask("OPENVANTO_REQ 0");
    w.ask("DISCONNECT_REQ");
    w.release(1);
    const int32_t value = 1;
    VNTsendinfoint(double_env, 0, 1, &value);
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 0 env 5 abc 10"),
              "NAK USERFUNCTION_REQ 0 BAD_ARGUMENT"); // the info waits
    EXPECT_EQ(w.ask("RECONNECT_REQ"), "INFO 0 0 [1]");
}

TEST(UserFunction, TheLastOneStoredIsCalledUnderAnyNameWithTheRequestsOrTheDefaultEnvironment)
{
    worker_double w;
    echo_data data;
    VNTsetuserfunction(w.h, other, nullptr);
    EXPECT_EQ(VNTSsetuserfunction(w.h, echo, &data), 0);
    VNTUSERFUNCTION function = nullptr;
    void *stored = nullptr;
    EXPECT_EQ(VNTLgetuserfunction(w.h, &function, &stored), 0);
    EXPECT_TRUE(function == echo && stored == &data);
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 0 env 5 abc|de|f 10"), "USERFUNCTION_RES 6 abcdef");
    EXPECT_EQ(data.env, double_env);
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 2 - 0 abc 2"), "USERFUNCTION_RES 1 ab");
    EXPECT_EQ(data.env, nullptr);
    w.ask("OPENVANTO_REQ 0");
    w.ask("USERFUNCTION_REQ 2 - 0 abc 2");
    EXPECT_EQ(data.env, double_env);
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 0 bad 0 abc 2"), "NAK USERFUNCTION_REQ 0 -1");
    EXPECT_EQ(w.hear(), "UNKNOWN USERFUNCTION_REQ");
}

TEST(UserFunction, MayReportLessOrMoreThanThereIsRoomFor)
{
    worker_double w;
    echo_data data;
    VNTsetuserfunction(w.h, echo, &data);
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 0 env 0 - 0"), "USERFUNCTION_RES 1 ");
    data.reported = 5;
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 0 env 0 abc 2"), "USERFUNCTION_RES 1 0x6162000000");
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 0 env 0 abc -7"), "USERFUNCTION_RES 1 0x0000000000");
    data.reported = -1;
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 0 env 0 abc 2"), "USERFUNCTION_RES 1 ");
    data.reported = INT64_MAX;
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 0 env 0 abc 2"), "NAK USERFUNCTION_REQ 0 NO_MEMORY");
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 0 env 0 abc 9223372036854775807"),
              "NAK USERFUNCTION_REQ 0 NO_MEMORY");
}

TEST(UserFunction, RunsAsynchronouslyToo)
{
    worker_double w;
    echo_data data;
    VNTsetuserfunction(w.h, echo, &data);
    w.ask("OPENVANTO_REQ 0");
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 1 env 5 abc|d 10"), "ACK USERFUNCTION_REQ 1 0");
    EXPECT_EQ(w.ask("USERFUNCTION_REQ 1 env 5 abc 10"), "NAK USERFUNCTION_REQ 1 -1");
    EXPECT_EQ(w.hear(), "UNKNOWN USERFUNCTION_REQ");
    EXPECT_EQ(w.fetch(), "USERFUNCTION_RES 6 abcd");
}

} // namespace vnt
