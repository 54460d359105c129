#include "client/connection.h"
#include "client/worker_double.h"

namespace {

constexpr int MEMBERS = 3;

struct grouped : testing::Test {
    worker_double workers[MEMBERS];
    VNTENVptr envs[MEMBERS] = {};
    VNTCLIENTGROUPptr group = nullptr;
    int statuses[MEMBERS] = {};
    std::mutex lock;
    std::vector<uint64_t> named[MEMBERS]; // the problems that requests named

    void SetUp() override
    {
        for (int i = 0; i < MEMBERS; i++)
            workers[i].on[VNTMESSAGEID_LPOPT_REQ] = [this, i](transport *io, const void *m) {
                std::lock_guard hold(lock);
                auto *request = static_cast<const vntmsg_LPOPT_REQ *>(m);
                named[i].push_back(client_takehandle(&request->lp));
                return worker_double::plain(io, VNTMESSAGEID_LPOPT_REQ);
            };
    }
    void open()
    {
        for (int i = 0; i < MEMBERS; i++)
            envs[i] = opened::open_at(workers[i].address(), &statuses[i]);
        int status = -1;
        group = vntclient_group_create(MEMBERS, envs, &status);
        ASSERT_EQ(status, 0) << vntclient_errortext();
    }
    VNTLPptr problem()
    {
        EXPECT_EQ(vntclient_group_call(group), 0);
        int status = -1;
        VNTLPptr lp = VNTLcreateprob(envs[0], &status, "p");
        EXPECT_EQ(status, 0);
        return lp;
    }
    int solve(VNTLPptr lp)
    {
        EXPECT_EQ(vntclient_group_call(group), 0);
        int rc = VNTLlpopt(envs[0], lp);
        EXPECT_EQ(vntclient_group_statuses(group, statuses), 0);
        return rc;
    }
    void TearDown() override
    {
        vntclient_group_destroy(&group);
        for (VNTENVptr &env : envs)
            if (env != nullptr) VNTLcloseVANTO(&env);
    }
};

using objects = std::vector<uint64_t>;

} // namespace

TEST_F(grouped, OneCallReachesAllMembersAboutTheirOwnProblem)
{
    workers[1].nextlp = 0x5500; // the others begin with 0x9900
    open();
    VNTLPptr lp = problem();
    EXPECT_EQ(solve(lp), 0);
    EXPECT_EQ(VNTLlpopt(envs[0], lp), 0) << "this one is the leader's alone";
    EXPECT_EQ(named[0], (objects{0x9900, 0x9900}));
    EXPECT_EQ(named[1], objects{0x5500});
    EXPECT_EQ(named[2], objects{0x9900});
    VNTLPptr alone = VNTLcreateprob(envs[0], nullptr, "q");
    EXPECT_EQ(solve(alone), 0);
    EXPECT_EQ(statuses[1], VNTERR_NO_PROBLEM);
    EXPECT_EQ(named[2].size(), 1u) << "where no such problem is, nothing is asked";

    VNTLPptr second = vntclient_group_problem(group, lp, 1);
    EXPECT_EQ(VNTLlpopt(envs[1], second), 0);
    EXPECT_EQ(named[1], (objects{0x5500, 0x5500}));
    EXPECT_EQ(vntclient_group_call(group), 0);
    EXPECT_EQ(VNTLfreeprob(envs[0], &lp), 0);
    EXPECT_EQ(VNTLlpopt(envs[1], second), VNTERR_NO_PROBLEM) << "freed everywhere";
}

TEST_F(grouped, EachMemberAnswersOrIsLostForItself)
{
    workers[0].on[VNTMESSAGEID_LPOPT_REQ] = [](transport *io, const void *) {
        return worker_double::say(io, 3, "on my way") &&
               worker_double::give(
                   io, vntmsg_LPOPT_RES{nullptr, VNTMESSAGEID_LPOPT_RES, VNTERR_ENGINE});
    };
    workers[1].on[VNTMESSAGEID_LPOPT_REQ] = [](transport *, const void *) { return false; };
    workers[2].on[VNTMESSAGEID_LPOPT_REQ] = [](transport *io, const void *) {
        return worker_double::refuse(io, VNTMESSAGEID_LPOPT_REQ, VNTERR_UNKNOWN_CALL);
    };
    open();
    VNTLPptr lp = problem();
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(solve(lp), VNTERR_ENGINE);
        EXPECT_EQ(statuses[1], VNTERR_CONNECTION_LOST);
        EXPECT_EQ(statuses[2], VNTERR_UNKNOWN_CALL);
    }
    EXPECT_EQ(VNTLdualopt(envs[2], vntclient_group_problem(group, lp, 2)), 0);
    int status = 0;
    EXPECT_EQ(vntclient_group_create(1, envs, &status), nullptr);
    EXPECT_EQ(status, VNTERR_BAD_ARGUMENT) << "in a group already";
    EXPECT_EQ(VNTLcloseVANTO(&envs[0]), 0);
    EXPECT_EQ(vntclient_group_call(group), VNTERR_CONNECTION_LOST) << "without its leader";
}
