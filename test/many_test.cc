// Many workers at once and one after the other: answers are not mixed up, resources do not pile up.
#include "test/server.h"
#include "test/vntsolve.h"

#include <array>
#include <csignal>
#include <gtest/gtest.h>

namespace vnt {

// The server's descriptors, threads and workers.
using holdings = std::array<long, 3>;

static holdings holdings_of(const server &s)
{
    return {process_count(s.pid(), "fd"), process_count(s.pid(), "task"),
            static_cast<long>(s.workers().size())};
}

// The pages that the server has in memory.
static long pages_of(const server &s)
{
    long all = 0, resident = 0;
    std::ifstream("/proc/" + std::to_string(s.pid()) + "/statm") >> all >> resident;
    return resident;
}

struct Many : testing::Test {
    server s;
    holdings before = holdings_of(s);

    // The sanitizer's allocator may be locked in a child when a process with threads forks.
    void SetUp() override
    {
        if (SANITIZED) GTEST_SKIP() << "a sanitizer and many forks do not go together";
    }
    void expect_back_to(const holdings &then) const
    {
        EXPECT_TRUE(eventually([&] {
            const holdings now = holdings_of(s);
            return now[0] <= then[0] && now[1] <= then[1] && now[2] == then[2];
        })) << testing::PrintToString(holdings_of(s));
    }
};

TEST_F(Many, ThreeHundredWorkersServeTheirOwnClients)
{
    std::vector<VNTENVptr> envs;
    for (int i = 0; i < 300; i++)
        envs.push_back(open_at(s));
    std::vector<pid_t> workers = s.workers();
    ASSERT_EQ(workers.size(), envs.size());
    kill(workers[150], SIGKILL);
    int lost = 0;
    for (size_t i = 0; i < envs.size(); i++) {
        int status = 0;
        VNTLPptr lp = VNTLcreateprob(envs[i], &status, "probe");
        if (lp == nullptr)
            lost += status == VNTERR_CONNECTION_LOST;
        else
            EXPECT_EQ(solve_bounded(envs[i], static_cast<double>(i)), i);
    }
    EXPECT_EQ(lost, 1) << "only the client of the killed worker";
    for (VNTENVptr &env : envs)
        VNTLcloseVANTO(&env);
    expect_back_to(before);
}

TEST_F(Many, AThousandClientsComeAndGo)
{
    VNTENVptr first = open_at(s);
    VNTLcloseVANTO(&first);
    EXPECT_TRUE(eventually([&] { return s.workers().empty(); }));
    before = holdings_of(s);
    long pages = 0;
    for (int i = 0; i < 1000; i++) {
        VNTENVptr env = open_at(s);
        ASSERT_EQ(solve_bounded(env, i), i);
        VNTLcloseVANTO(&env);
        if (i == 500) pages = pages_of(s);
    }
    expect_back_to(before);
    EXPECT_LT(pages_of(s), pages + 64) << "pages more than after half of them";
}

TEST_F(Many, AWorkerIsLeftAndJoinedAThousandTimes)
{
    VNTENVptr env = open_at(s);
    holdings one = holdings_of(s);
    for (int i = 0; i < 1000; i++) {
        char info[VNTCLIENT_INFO_LENGTH];
        ASSERT_EQ(vntclient_disconnect(env, info), 0) << i << " " << vntclient_errortext();
        ASSERT_EQ(vntclient_reconnect(info, &env), 0) << i << " " << vntclient_errortext();
        if (i % 100 != 0) continue;
        EXPECT_EQ(solve_bounded(env, i), i);
    }
    expect_back_to(one);
    VNTLcloseVANTO(&env);
    expect_back_to(before);
}

} // namespace vnt
