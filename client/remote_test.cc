// The library as programs use it, against the real server and workers.
#include "test/folders.h"
#include "test/server.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <gtest/gtest.h>
#include <regex>
#include <thread>
#include <vector>

namespace vnt {

namespace {

// 6 at (2, 2).
VNTLPptr small_lp(VNTENVptr env)
{
    static const std::string text =
        "max\n x + 2 y\nst\n x + y <= 4\nbounds\n x <= 3\n y <= 2\nend\n";
    int status = -1;
    VNTLPptr lp = VNTLcreateprob(env, &status, "problem");
    EXPECT_EQ(status, 0) << vntclient_errortext();
    EXPECT_EQ(VNTEreadcopyprob(env, lp, "lp", text.data(), int64_t(text.size()), "lp"), 0);
    return lp;
}

double objective_of(VNTENVptr env, VNTLPptr lp)
{
    double value = NAN;
    EXPECT_EQ(VNTLgetobjval(env, lp, &value), 0);
    return value;
}

// Keeps a solver busy for many seconds and has solutions soon.
constexpr int COLUMNS = 840;
VNTLPptr long_mip(VNTENVptr env)
{
    VNTLPptr lp = VNTLcreateprob(env, nullptr, "long");
    const std::string path = source_path("test/models/qiu.mps");
    EXPECT_EQ(VNTEreadcopyprob(env, lp, path.c_str(), nullptr, 0, nullptr), 0);
    return lp;
}

int starts(VNTENVptr env, VNTLPptr lp)
{
    int rc = vntclient_start(env);
    return rc == 0 ? VNTLmipopt(env, lp) : rc;
}

struct remote : testing::Test {
    explicit remote(const std::vector<std::string> &arguments = {}) : s(arguments) {}

    server s;
    VNTENVptr env = open_at(s);
    vntmipprogress progress = {};

    void TearDown() override
    {
        if (env != nullptr) VNTLcloseVANTO(&env);
        EXPECT_TRUE(eventually([this] { return s.workers().empty(); }));
    }
    bool has_solution()
    {
        return eventually([this] {
            return vntclient_progress(env, 0, &progress) == 0 && progress.solutions > 0;
        });
    }
};

} // namespace

static void hear_nothing(void *, const char *) {}

// The text of a failed call is what the library found, what the solver said on its error channel,
// or else what the status means.
TEST_F(remote, TheErrorTextIsThatOfTheLastCallThatFailed)
{
    double value;
    int status = 0;
    VNTLPptr lp = small_lp(env), other = VNTLcreateprob(env, &status, nullptr);
    EXPECT_EQ(VNTLgetobjval(env, lp, &value), VNTERR_NO_SOLUTION);
    EXPECT_TRUE(has(vntclient_errortext(), "there is no solution"));
    EXPECT_EQ(VNTLsetintparam(env, 99, 1), VNTERR_BAD_PARAMETER);
    EXPECT_TRUE(has(vntclient_errortext(), "no parameter"));
    EXPECT_NE(VNTEreadcopyprob(env, lp, "/nowhere/x.mps", nullptr, 0, nullptr), 0);
    EXPECT_TRUE(has(vntclient_errortext(), "/nowhere/x.mps: No such file"));
    EXPECT_NE(VNTLwriteprob(env, lp, "/nowhere/x.mps", nullptr), 0);
    EXPECT_TRUE(has(vntclient_errortext(), "/nowhere/x.mps: No such file"));
    EXPECT_EQ(VNTLfreeprob(env, nullptr), VNTERR_NULL_POINTER);
    EXPECT_TRUE(has(vntclient_errortext(), "missing"));
    EXPECT_EQ(VNTLmipopt(env, other), VNTERR_NOT_MIP);
    EXPECT_TRUE(has(vntclient_errortext(), "no discrete part"));

    VNTCHANNELptr errors;
    ASSERT_EQ(VNTLgetchannels(env, nullptr, nullptr, &errors, nullptr), 0);
    ASSERT_EQ(VNTLaddfuncdest(env, errors, nullptr, hear_nothing), 0);
    EXPECT_EQ(VNTEreadcopyprob(env, lp, "x.mps", "NAME\nODD\n", 9, nullptr), VNTERR_FILE_FORMAT);
    EXPECT_TRUE(has(vntclient_errortext(), "line 2: section ODD"));
    EXPECT_EQ(VNTLsetintparam(env, 99, 1), VNTERR_BAD_PARAMETER);
    EXPECT_FALSE(has(vntclient_errortext(), "ODD"));
    EXPECT_EQ(vntclient_userfunction(env, 1, nullptr, 0, nullptr, 0, nullptr), VNTERR_BAD_ARGUMENT);
    EXPECT_FALSE(has(vntclient_errortext(), "parameter"));
}

// Of a status without a meaning the text would give only the number.
TEST(Statuses, EachOneOfTheHeaderHasItsMeaning)
{
    auto words = [](const char *file, const std::regex &form) {
        const std::string text = file_text(source_path(file));
        std::vector<std::string> found;
        for (std::sregex_iterator at(text.begin(), text.end(), form), end; at != end; ++at)
            found.push_back((*at)[1]);
        return found;
    };
    EXPECT_EQ(words("client/statuses.def", std::regex("\nSTATUS\\((\\w+),")),
              words("include/vanto.h", std::regex("\n    VNTERR_(\\w+) =")));
}

TEST_F(remote, EnvironmentsInDifferentThreadsAreIndependent)
{
    auto work = [this](double bound) {
        VNTENVptr own = open_at(s);
        const int index = 1;
        for (int i = 0; i < 50; i++) {
            VNTLPptr lp = small_lp(own);
            double ub = bound + i % 2;
            EXPECT_EQ(VNTLchgbds(own, lp, 1, &index, "U", &ub), 0);
            EXPECT_EQ(VNTLlpopt(own, lp), 0);
            EXPECT_EQ(objective_of(own, lp), 4 + ub);
        }
        EXPECT_EQ(VNTLcloseVANTO(&own), 0);
    };
    std::thread one(work, 1.0), two(work, 2.0);
    one.join();
    two.join();
}

TEST_F(remote, ARecordOlderThanTheCallsEndDoesNoHarm)
{
    VNTLPptr lp = small_lp(env);
    ASSERT_EQ(vntclient_start(env), 0);
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    char record[1024], info[VNTCLIENT_INFO_LENGTH];
    int64_t length = 0;
    ASSERT_EQ(vntclient_pack(env, record, sizeof record, &length), 0);
    ASSERT_EQ(vntclient_disconnect(env, info), 0);
    ASSERT_EQ(VNTLcloseVANTO(&env), 0); // the process that left it is gone
    for (int joined : {0, int(VNTERR_BAD_ARGUMENT)}) {
        ASSERT_EQ(vntclient_attach(record, length, &env), 0) << vntclient_errortext();
        EXPECT_EQ(vntclient_join(env), joined) << vntclient_errortext();
        ASSERT_EQ(vntclient_getproblems(env, 1, &lp), 1);
        EXPECT_EQ(objective_of(env, lp), 6) << "the worker is there with all that it holds";
        ASSERT_EQ(vntclient_disconnect(env, info), 0);
        ASSERT_EQ(VNTLcloseVANTO(&env), 0);
    }
    ASSERT_EQ(vntclient_reconnect(info, &env), 0);
}

// Controlled by a thread of the worker, or by the solver's own poll.
struct controlled : remote, testing::WithParamInterface<bool> {
    controlled()
        : remote(GetParam() ? std::vector<std::string>{"-nothreads"} : std::vector<std::string>{})
    {
    }
};

INSTANTIATE_TEST_SUITE_P(WithoutThreads, controlled, testing::Bool());

TEST_P(controlled, AStartedSolveIsWatchedKilledAndJoined)
{
    VNTLPptr lp = long_mip(env);
    ASSERT_EQ(starts(env, lp), 0) << vntclient_errortext();
    ASSERT_TRUE(has_solution()) << vntclient_errortext();
    std::vector<double> sol(COLUMNS, -1);
    progress.sol = sol.data();
    EXPECT_EQ(vntclient_progress(env, COLUMNS - 1, &progress), 0);
    EXPECT_EQ(progress.solcount, COLUMNS - 1);
    EXPECT_GE(sol[0], 0);
    EXPECT_EQ(sol[COLUMNS - 1], -1) << "there was no room for it";
    EXPECT_GE(progress.incumbent, progress.bound);
    int state = -1;
    EXPECT_EQ(vntclient_test(env, &state), 0);
    EXPECT_EQ(state, VNTCLIENT_RUNNING);
    EXPECT_EQ(vntclient_kill(env), 0);
    EXPECT_EQ(vntclient_join(env), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_STOPPED);
    EXPECT_LE(objective_of(env, lp), progress.incumbent);
    VNTLPptr next = small_lp(env);
    EXPECT_EQ(VNTLlpopt(env, next), 0) << "a kill ends one solve only";
    EXPECT_EQ(objective_of(env, next), 6);
}

TEST_F(remote, AStartedCallFillsItsOutputsWhenJoined)
{
    VNTLPptr lp = small_lp(env);
    EXPECT_EQ(VNTLlpopt(env, lp), 0);
    double x[2] = {-1, -1};
    EXPECT_EQ(vntclient_start(env), 0);
    EXPECT_EQ(VNTLgetx(env, lp, x, 0, 1), 0);
    EXPECT_EQ(x[1], -1);
    EXPECT_EQ(vntclient_join(env), 0);
    EXPECT_EQ(x[1], 2);
    EXPECT_EQ(vntclient_join(env), VNTERR_BAD_ARGUMENT);
    ASSERT_EQ(starts(env, long_mip(env)), 0);
    EXPECT_EQ(vntclient_start(env), VNTERR_SOLVING);
    // That one is never joined: closing ends it.
}

TEST_F(remote, CallbacksEndASolve)
{
    VNTLPptr lp = long_mip(env);
    int calls = 0;
    auto third = [](VNTENVptr e, void *data) {
        EXPECT_EQ(VNTLcloseVANTO(&e), VNTERR_SOLVING);
        return int(++*static_cast<int *>(data) == 3);
    };
    EXPECT_EQ(VNTEsetterminatefunc(env, third, &calls), 0);
    EXPECT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_STOPPED);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(VNTEsetterminatefunc(env, nullptr, nullptr), 0);

    auto sixth = [](VNTENVptr e, void *cbdata, uint64_t, void *data) {
        vntmipprogress p = {};
        EXPECT_EQ(VNTEgetasyncmipprogress(e, cbdata, 0, &p, 1e75), 0);
        EXPECT_EQ(VNTEasyncprogressinject(e, cbdata, 1e6, 1, 1e75), 0);
        return int(++*static_cast<int *>(data) == 6);
    };
    EXPECT_EQ(VNTEsetpausecallbackfunc(env, sixth, &calls), 0);
    EXPECT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_STOPPED);
    EXPECT_EQ(calls, 6);
}

TEST_F(remote, ASolvePausesAtItsLimitAndGoesOn)
{
    VNTLPptr lp = long_mip(env);
    EXPECT_EQ(vntclient_setlimits(env, 0, 0.2), 0);
    ASSERT_EQ(starts(env, lp), 0);
    EXPECT_EQ(vntclient_join(env), VNTERR_SOLVING) << "paused";
    int state = -1;
    EXPECT_EQ(vntclient_test(env, &state), 0);
    EXPECT_EQ(state, VNTCLIENT_PAUSED);
    EXPECT_EQ(vntclient_progress(env, 0, &progress), 0);
    int64_t before = progress.iterations;
    EXPECT_EQ(vntclient_continue(env, 0, 0.2), 0);
    EXPECT_EQ(vntclient_join(env), VNTERR_SOLVING);
    EXPECT_EQ(vntclient_progress(env, 0, &progress), 0);
    EXPECT_GT(progress.iterations, before);
    EXPECT_EQ(vntclient_terminate(env), 0);
    EXPECT_EQ(vntclient_join(env), 0);
}

TEST_F(remote, AProblemOutlivesTheConnectionAndTheProcess)
{
    VNTLPptr lp = small_lp(env);
    char info[VNTCLIENT_INFO_LENGTH];
    VNTENVptr back = nullptr;
    ASSERT_EQ(vntclient_disconnect(env, info), 0) << vntclient_errortext();
    EXPECT_EQ(VNTLlpopt(env, lp), VNTERR_REMOTE);
    ASSERT_EQ(vntclient_reconnect(info, &back), 0) << vntclient_errortext();
    ASSERT_EQ(back, env);
    EXPECT_EQ(VNTLlpopt(env, lp), 0);

    std::vector<char> record(1000);
    int64_t length = 0;
    EXPECT_EQ(vntclient_pack(env, record.data(), 1000, &length), 0);
    ASSERT_EQ(vntclient_disconnect(env, info), 0) << vntclient_errortext();
    EXPECT_EQ(VNTLcloseVANTO(&env), 0); // as if this process had ended
    ASSERT_EQ(vntclient_attach(record.data(), length, &env), 0) << vntclient_errortext();
    ASSERT_EQ(vntclient_getproblems(env, 1, &lp), 1);
    EXPECT_EQ(objective_of(env, lp), 6);

    ASSERT_EQ(vntclient_disconnect(env, info), 0) << vntclient_errortext();
    EXPECT_EQ(VNTLcloseVANTO(&env), 0);
    ASSERT_EQ(vntclient_reconnect(info, &env), 0) << "the bare bytes lead back too";
    EXPECT_NE(VNTLcreateprob(env, nullptr, "p"), nullptr);
    EXPECT_EQ(VNTLcloseVANTO(&env), 0);
    EXPECT_TRUE(eventually([this] { return s.workers().empty(); }));
    EXPECT_EQ(vntclient_attach(record.data(), length, &env), VNTERR_CONNECTION_LOST);
}

TEST_F(remote, AResilientJoinLeavesAndComesBack)
{
    VNTLPptr lp = long_mip(env);
    ASSERT_EQ(starts(env, lp), 0);
    int looks = 0;
    auto tenth = [](VNTENVptr, void *data) { return int(++*static_cast<int *>(data) == 10); };
    EXPECT_EQ(vntclient_joinresilient(env, 0.05, 5, tenth, &looks), 0) << vntclient_errortext();
    EXPECT_EQ(looks, 10);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_STOPPED);
}

TEST_F(remote, OneCallReachesAGroupAndEachMemberAnswersForItself)
{
    VNTENVptr envs[] = {env, open_at(s), nullptr};
    small_lp(envs[1]); // its next problem is not the first there
    std::vector<pid_t> first = s.workers();
    envs[2] = open_at(s);
    int status = -1, statuses[3];
    VNTCLIENTGROUPptr group = vntclient_group_create(3, envs, &status);
    ASSERT_EQ(status, 0) << vntclient_errortext();
    EXPECT_EQ(vntclient_group_create(1, envs, &status), nullptr);
    EXPECT_EQ(status, VNTERR_BAD_ARGUMENT) << "in a group already";

    EXPECT_EQ(vntclient_group_call(group), 0);
    VNTLPptr lp = VNTLcreateprob(env, &status, "p");
    double one = 1;
    EXPECT_EQ(vntclient_group_call(group), 0);
    EXPECT_EQ(VNTLnewcols(env, lp, 1, &one, &one, nullptr, nullptr, nullptr), 0);
    VNTLPptr second = vntclient_group_problem(group, lp, 1);
    double bound = 2;
    const int index = 0;
    EXPECT_EQ(VNTLchgbds(envs[1], second, 1, &index, "L", &bound), 0);
    for (pid_t worker : s.workers())
        if (std::count(first.begin(), first.end(), worker) == 0) kill(worker, SIGKILL);
    EXPECT_EQ(vntclient_group_call(group), 0);
    EXPECT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(vntclient_group_statuses(group, statuses), 0);
    EXPECT_EQ(statuses[1], 0);
    EXPECT_EQ(statuses[2], VNTERR_CONNECTION_LOST);
    EXPECT_EQ(objective_of(env, lp), 1);
    EXPECT_EQ(objective_of(envs[1], second), 2);
    EXPECT_EQ(vntclient_group_call(group), 0);
    EXPECT_EQ(VNTLfreeprob(env, &lp), 0);
    EXPECT_EQ(VNTLlpopt(envs[1], second), VNTERR_NO_PROBLEM) << "freed everywhere";
    EXPECT_EQ(VNTLcloseVANTO(&env), 0);
    EXPECT_EQ(vntclient_group_call(group), VNTERR_CONNECTION_LOST) << "without its leader";
    vntclient_group_destroy(&group);
    VNTLcloseVANTO(&envs[1]);
    VNTLcloseVANTO(&envs[2]);
}

} // namespace vnt
