#include "test/doubles/answering_double.h"
#include "vanto_client.h"

#include <atomic>
#include <gtest/gtest.h>

namespace vnt {

namespace {

// A worker double whose solves run until the test or a control request says otherwise.
struct running_double : worker_double {
    std::atomic<int> state{VNTCLIENT_RUNNING};
    std::atomic<bool> answers{true}; // looks at the call
    std::atomic<bool> mute{false};   // does not even take the call up
    std::atomic<int> unanswered{0};

    running_double()
    {
        on[VNTMESSAGEID_LPOPT_REQ] = [this](transport *io, const void *message) {
            auto *request = static_cast<const vntmsg_LPOPT_REQ *>(message);
            if (mute || (request->flags & 1) == 0) return true; // a solve without an end
            return give(io, RECORD(ACK, VNTMESSAGEID_LPOPT_REQ, 1, 0));
        };
        on[VNTMESSAGEID_ASYNCTEST_REQ] = [this](transport *io, const void *) {
            unanswered++;
            bool sent = true;
            for (; answers && unanswered > 0 && sent; unanswered--)
                sent = give(io, RECORD(ASYNCTEST_RES, 0, state));
            return sent;
        };
        on[VNTMESSAGEID_ASYNCKILL_REQ] = [this](transport *io, const void *) {
            state = VNTCLIENT_ENDED;
            return plain(io, VNTMESSAGEID_ASYNCKILL_REQ);
        };
        on[VNTMESSAGEID_EASYNCCONTINUE_REQ] = [this](transport *io, const void *) {
            state = VNTCLIENT_ENDED;
            return give(io, RECORD(EASYNCCONTINUE_RES, 0));
        };
        on[VNTMESSAGEID_GETRES] = worker_double::plainly(VNTMESSAGEID_LPOPT_REQ);
    }
};

struct grouped : testing::Test {
    running_double workers[2];
    VNTENVptr envs[2] = {};
    VNTLPptr lps[2] = {};
    VNTCLIENTGROUPptr group = nullptr;
    int statuses[2] = {-1, -1};

    void SetUp() override
    {
        int status = -1;
        for (int i = 0; i < 2; i++) {
            envs[i] = opened::open_at(workers[i].address(), &status);
            ASSERT_EQ(status, 0) << vntclient_errortext();
        }
        group = vntclient_group_create(2, envs, &status);
        ASSERT_EQ(vntclient_group_call(group), 0);
        lps[0] = VNTLcreateprob(envs[0], &status, "p");
        lps[1] = vntclient_group_problem(group, lps[0], 1);
        ASSERT_NE(lps[1], nullptr);
    }
    void TearDown() override
    {
        vntclient_group_destroy(&group);
        for (int i = 0; i < 2; i++) {
            VNTLcloseVANTO(&envs[i]);
            workers[i].end();
        }
    }
    int solve_all()
    {
        EXPECT_EQ(vntclient_group_call(group), 0);
        int rc = VNTLlpopt(envs[0], lps[0]);
        EXPECT_EQ(vntclient_group_statuses(group, statuses), 0);
        return rc;
    }
};

int always(VNTENVptr, void *count)
{
    ++*static_cast<int *>(count);
    return 1;
}

} // namespace

TEST_F(grouped, AMemberThatStaysSilentIsDroppedAfterItsReadTimeout)
{
    vntclient_settimeouts(envs[1], 60, -1);
    volatile int ends = 1; // of the leader, whose worker answers
    VNTLEsetasyncterminate(envs[0], &ends);
    workers[1].mute = true;
    EXPECT_EQ(solve_all(), 0) << vntclient_errortext();
    EXPECT_EQ(statuses[1], VNTERR_CONNECTION_LOST);
    EXPECT_EQ(vntclient_start(envs[1]), VNTERR_CONNECTION_LOST);
}

TEST_F(grouped, AMemberThatFallsSilentInTheMiddleIsDroppedAsWell)
{
    vntclient_settimeouts(envs[1], 60, -1);
    int asked = 0;
    VNTEsetterminatefunc(envs[0], always, &asked);
    workers[1].answers = false;
    EXPECT_EQ(solve_all(), 0) << vntclient_errortext();
    EXPECT_EQ(statuses[1], VNTERR_CONNECTION_LOST);
}

TEST_F(grouped, TheLeadersFlagEndsTheCallOfAll)
{
    volatile int ends = 1;
    VNTLEsetasyncterminate(envs[0], &ends);
    EXPECT_EQ(solve_all(), 0);
    EXPECT_EQ(statuses[1], 0);
    for (running_double &worker : workers)
        EXPECT_EQ(worker.count(VNTMESSAGEID_ASYNCKILL_REQ), 1u);
}

TEST_F(grouped, AMembersCallbacksConcernItsOwnPart)
{
    int asked = 0, paused = 0;
    VNTEsetterminatefunc(envs[1], always, &asked);
    auto pause = [](VNTENVptr, void *, uint64_t, void *count) {
        return always(nullptr, count) - 1;
    };
    VNTEsetpausecallbackfunc(envs[0], pause, &paused);
    workers[0].state = VNTCLIENT_PAUSED;
    EXPECT_EQ(solve_all(), 0);
    EXPECT_EQ(statuses[1], 0);
    EXPECT_EQ(paused, 1);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(workers[0].count(VNTMESSAGEID_ASYNCKILL_REQ), 0u);
    EXPECT_EQ(workers[1].count(VNTMESSAGEID_ASYNCKILL_REQ), 1u);
}

TEST_F(grouped, ASilentMemberHidesNoOthersEnd)
{
    for (int i = 0; i < 2; i++) {
        ASSERT_EQ(vntclient_start(envs[i]), 0);
        ASSERT_EQ(VNTLlpopt(envs[i], lps[i]), 0);
    }
    int member = 7;
    EXPECT_EQ(vntclient_group_wait(group, 30, &member), 0);
    EXPECT_EQ(member, -1) << "both run";
    workers[0].answers = false;
    EXPECT_EQ(vntclient_group_wait(group, 30, &member), 0);
    EXPECT_EQ(member, -1) << "the time is over";
    workers[1].state = VNTCLIENT_ENDED;
    EXPECT_EQ(vntclient_group_wait(group, -1, &member), 0);
    EXPECT_EQ(member, 1);
    EXPECT_EQ(vntclient_join(envs[1]), 0);

    // The answers that are late belong to the looks, not to what is asked next.
    workers[0].answers = true;
    int state = -1;
    EXPECT_EQ(vntclient_test(envs[0], &state), 0) << vntclient_errortext();
    EXPECT_EQ(state, VNTCLIENT_RUNNING);
    workers[0].state = VNTCLIENT_ENDED;
    EXPECT_EQ(vntclient_group_wait(group, -1, &member), 0);
    EXPECT_EQ(member, 0);
    EXPECT_EQ(vntclient_join(envs[0]), 0);
}

} // namespace vnt
