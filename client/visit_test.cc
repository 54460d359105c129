#include "client/connection.h"
#include "test/doubles/answering_double.h"
#include "test/process.h"

#include <gtest/gtest.h>
#include <string>

namespace vnt {

namespace {

// An environment that was left with a call, and is visited by another process.
struct visiting : testing::Test {
    worker_double worker{16};
    VNTENVptr env = nullptr;
    VNTLPptr lp = nullptr;
    size_t before = 0; // messages until then

    void attach()
    {
        int status = -1;
        char info[VNTCLIENT_INFO_LENGTH];
        env = opened::open_at(worker.address(), &status);
        VNTLcreateprob(env, &status, "p");
        vntclient_start(env);
        const std::string record = packed(env);
        const auto length = static_cast<int64_t>(record.size());
        ASSERT_EQ(vntclient_disconnect(env, info), 0);
        ASSERT_EQ(VNTLcloseVANTO(&env), 0);
        ASSERT_EQ(vntclient_attachresilient(record.data(), length, 10, &env), 0)
            << vntclient_errortext();
        ASSERT_EQ(vntclient_getproblems(env, 1, &lp), 1);
        ASSERT_TRUE(eventually([&] { return worker.count(VNTMESSAGEID_DISCONNECT_REQ) == 2; }));
        before = worker.seen().size();
    }
    // Whether these messages, and no others, arrive from now on.
    bool says(const std::vector<uint32_t> &ids)
    {
        const auto said = [&] {
            const auto all = worker.seen();
            return std::vector<uint32_t>(all.begin() + static_cast<long>(before), all.end());
        };
        const bool all = eventually([&] { return said() == ids; }, seconds(5));
        before += said().size();
        return all;
    }
    // Closes the connection at the first of these requests.
    void breaks_once(uint32_t id, const worker_double::answer &then)
    {
        worker.on[id] = [then, broken = false](transport *io, const void *request) mutable {
            if (broken) return then(io, request);
            return !(broken = true);
        };
    }
    void TearDown() override
    {
        if (env != nullptr) VNTLcloseVANTO(&env);
        worker.end();
    }
};

enum : uint32_t {
    COME = VNTMESSAGEID_RECONNECT_REQ,
    LEAVE = VNTMESSAGEID_DISCONNECT_REQ,
    TEST_CALL = VNTMESSAGEID_ASYNCTEST_REQ,
    SMALL_CALL = VNTMESSAGEID_GETINTPARAM_REQ,
    RESULT = VNTMESSAGEID_GETRES,
};

} // namespace

TEST_F(visiting, AQueryWhoseAnswerIsLostIsAskedAgainAndAChangeStays)
{
    breaks_once(VNTMESSAGEID_GETOBJVAL_REQ, worker_double::plainly(VNTMESSAGEID_GETOBJVAL_REQ));
    attach();
    double value = -1;
    EXPECT_EQ(VNTLgetobjval(env, lp, &value), 0) << vntclient_errortext();
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(says({COME, VNTMESSAGEID_GETOBJVAL_REQ, COME, VNTMESSAGEID_GETOBJVAL_REQ, LEAVE}));
    EXPECT_EQ(VNTLchgobjsen(env, lp, VNT_MAX), 0);
    EXPECT_EQ(VNTLgetobjval(env, lp, &value), 0);
    EXPECT_TRUE(says({COME, VNTMESSAGEID_CHGOBJSEN_REQ, VNTMESSAGEID_GETOBJVAL_REQ}));
}

TEST_F(visiting, ClosingComesBackToEndTheWorker)
{
    worker.on[RESULT] = worker_double::plainly(SMALL_CALL);
    attach();
    EXPECT_EQ(VNTLcloseVANTO(&env), 0);
    EXPECT_TRUE(says({COME, VNTMESSAGEID_ASYNCKILL_REQ, TEST_CALL, RESULT,
                      VNTMESSAGEID_CLOSEVANTO_REQ, VNTMESSAGEID_TERMINATE}));
}

TEST_F(visiting, LeavingNeedsNoWord)
{
    attach();
    char info[VNTCLIENT_INFO_LENGTH];
    EXPECT_EQ(vntclient_disconnect(env, info), 0);
    EXPECT_TRUE(says({}));
}

// A worker whose call has ended refuses another one; one without a call takes it.
TEST_F(visiting, AResultIsAskedForInPassingAndNotTwice)
{
    worker.on[SMALL_CALL] = [calls = 1](transport *io, const void *) mutable {
        return calls-- > 0 ? worker_double::give(io, RECORD(NAK, SMALL_CALL, 0, -1))
                           : worker_double::give(io, RECORD(ACK, SMALL_CALL, 1, 0));
    };
    breaks_once(RESULT, worker_double::plainly(SMALL_CALL));
    attach();
    EXPECT_EQ(vntclient_joinresilient(env, 0.01, 10, nullptr, nullptr), 0);
    EXPECT_TRUE(
        says({COME, TEST_CALL, LEAVE, COME, SMALL_CALL, RESULT, COME, SMALL_CALL, RESULT, LEAVE}))
        << "the answer was lost with the first connection";
    EXPECT_EQ(vntclient_join(env), VNTERR_BAD_ARGUMENT);
}

TEST_F(visiting, AResultHasTheCallsStatus)
{
    worker.on[SMALL_CALL] = worker_double::refuses(SMALL_CALL, -1);
    worker.on[RESULT] = worker_double::gives(RECORD(MIPOPT_RES, VNTERR_NO_SOLUTION));
    attach();
    EXPECT_EQ(vntclient_joinresilient(env, 0.01, 10, nullptr, nullptr), VNTERR_NO_SOLUTION);
}

} // namespace vnt
