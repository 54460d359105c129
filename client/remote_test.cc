// The library as programs use it, against the real server and workers.
#include "test/server.h"
#include "vanto_client.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

namespace {

VNTENVptr open_at(const server &s)
{
    std::string address = "-address=" + s.address();
    const char *argv[] = {address.c_str()};
    int status = -1;
    VNTENVptr env = vntclient_open(1, argv, &status);
    EXPECT_EQ(status, 0) << vntclient_errortext();
    return env;
}

// maximise x + 2y under x + y <= 4, x <= 3, y <= 2: 6 at (2, 2).
VNTLPptr small_lp(VNTENVptr env)
{
    int status = -1;
    VNTLPptr lp = VNTLcreateprob(env, &status, "small");
    EXPECT_EQ(status, 0) << vntclient_errortext();
    const double objective[] = {1, 2}, rhs[] = {4}, values[] = {1, 1}, lb[] = {0, 0}, ub[] = {3, 2};
    const int64_t begins[] = {0, 1};
    const int counts[] = {1, 1}, indices[] = {0, 0};
    EXPECT_EQ(VNTLcopylp(env, lp, 2, 1, VNT_MAX, objective, rhs, "L", begins, counts, indices,
                         values, lb, ub, nullptr),
              0);
    return lp;
}

double objective_of(VNTENVptr env, VNTLPptr lp)
{
    double value = NAN;
    EXPECT_EQ(VNTLgetobjval(env, lp, &value), 0);
    return value;
}

// Splits customers among two sales teams so that the halves of `rows` products differ least.  It
// has solutions from the start and keeps a solver busy for minutes.
constexpr int SPLIT = 40;
VNTLPptr split_mip(VNTENVptr env, int rows = 5)
{
    int status = -1, columns = SPLIT + 2 * rows;
    VNTLPptr lp = VNTLcreateprob(env, &status, "split");
    EXPECT_EQ(status, 0) << vntclient_errortext();
    std::vector<double> objective, rhs(rows), values, lb(columns, 0), ub;
    std::vector<int64_t> begins;
    std::vector<int> counts, indices, all;
    uint32_t random = 12345;
    for (int j = 0; j < SPLIT; j++) {
        begins.push_back(int64_t(values.size()));
        for (int i = 0; i < rows; i++) {
            random = random * 1664525 + 1013904223;
            values.push_back(random >> 25);
            rhs[i] += std::floor(values.back()) / 2;
            indices.push_back(i);
        }
        counts.push_back(rows);
        objective.push_back(0);
        ub.push_back(1);
        all.push_back(j);
    }
    for (int i = 0; i < rows; i++) {
        rhs[i] = std::floor(rhs[i]);
        for (double sign : {1.0, -1.0}) {
            begins.push_back(int64_t(values.size()));
            values.push_back(sign);
            indices.push_back(i);
            counts.push_back(1);
            objective.push_back(1);
            ub.push_back(VNT_INFINITY);
        }
    }
    EXPECT_EQ(VNTLcopylp(env, lp, columns, rows, VNT_MIN, objective.data(), rhs.data(),
                         std::string(rows, 'E').c_str(), begins.data(), counts.data(),
                         indices.data(), values.data(), lb.data(), ub.data(), nullptr),
              0);
    EXPECT_EQ(VNTLchgctype(env, lp, SPLIT, all.data(), std::string(SPLIT, 'B').c_str()), 0);
    return lp;
}

int starts(VNTENVptr env, VNTLPptr lp)
{
    int rc = vntclient_start(env);
    return rc == 0 ? VNTLmipopt(env, lp) : rc;
}

double since(std::chrono::steady_clock::time_point begin)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

std::set<std::string> names(const std::string &text, const std::string &begin)
{
    std::set<std::string> found;
    for (size_t at = 0; (at = text.find(begin, at)) != std::string::npos; at++) {
        if (at > 0 && (isalnum(text[at - 1]) || text[at - 1] == '_')) continue;
        size_t end = at;
        while (isalnum(text[end]) || text[end] == '_')
            end++;
        if (text[end] == '(') found.insert(text.substr(at, end - at));
    }
    return found;
}

std::set<std::string> declared(const char *header, const std::string &begin)
{
    std::ifstream file(std::string(VNT_SOURCE_DIR "/include/") + header);
    std::string code;
    for (std::string line; std::getline(file, line);)
        code += line.substr(0, line.find("//")) + "\n";
    return names(code, begin);
}

struct remote : testing::Test {
    server s;
    VNTENVptr env = open_at(s);
    void TearDown() override
    {
        if (env != nullptr) VNTLcloseVANTO(&env);
        EXPECT_TRUE(eventually([this] { return s.workers().empty(); }));
    }
};

} // namespace

TEST(Exports, AreWhatTheHeadersDeclare)
{
    std::set<std::string> expected = declared("vanto.h", "VNTL");
    expected.merge(declared("vanto.h", "VNTE"));
    EXPECT_EQ(expected.size(), 441u);
    expected.merge(declared("vanto_client.h", "vntclient_"));
    process_result nm = run({"nm", "-D", "--defined-only", VNT_BUILD_DIR "/lib/libvantoclient.so"});
    ASSERT_EQ(nm.status, 0) << nm.err;
    std::set<std::string> exported;
    std::istringstream lines(nm.out);
    for (std::string address, kind, name; lines >> address >> kind >> name;)
        exported.insert(name);
    EXPECT_EQ(exported, expected);
}

TEST_F(remote, ALinearProblemIsSolvedAndItsLogHeard)
{
    static std::string log;
    log.clear();
    EXPECT_EQ(vntclient_setchannelhandler(
                  env, [](VNTENVptr, int, const char *text, void *) { log += text; }, nullptr),
              0);
    VNTLPptr lp = small_lp(env);
    EXPECT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_OPTIMAL);
    EXPECT_EQ(objective_of(env, lp), 6);
    double x[8] = {};
    EXPECT_EQ(VNTLgetx(env, lp, x, 0, 1), 0);
    EXPECT_EQ(x[0], 2);
    EXPECT_EQ(x[1], 2);
    EXPECT_EQ(VNTLgetx(env, lp, x, 0, 7), VNTERR_INDEX_RANGE);
    EXPECT_EQ(x[1], 2) << "a call that fails leaves the caller's arrays alone";
    EXPECT_NE(log, "") << "the solver says on its error channel what was wrong";
    EXPECT_EQ(VNTLfreeprob(env, &lp), 0);
}

TEST_F(remote, EnvironmentsInDifferentThreadsAreIndependent)
{
    auto work = [this](double bound) {
        VNTENVptr own = open_at(s);
        VNTLPptr lp = small_lp(own);
        const int index = 1;
        for (int i = 0; i < 50; i++) {
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

TEST_F(remote, AKilledWorkerIsNoticedInTheMiddleOfASolve)
{
    VNTLPptr lp = split_mip(env);
    std::thread killer([this] {
        eventually([this] { return !s.workers().empty(); });
        usleep(200'000);
        for (pid_t worker : s.workers())
            kill(worker, SIGKILL);
    });
    EXPECT_EQ(VNTLmipopt(env, lp), VNTERR_CONNECTION_LOST);
    killer.join();
    auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 1000; i++)
        EXPECT_EQ(VNTLlpopt(env, lp), VNTERR_CONNECTION_LOST);
    EXPECT_LT(since(begin), 1);
    EXPECT_EQ(VNTLcloseVANTO(&env), VNTERR_CONNECTION_LOST);
}

TEST_F(remote, AStartedSolveIsWatchedKilledAndJoined)
{
    VNTLPptr lp = split_mip(env);
    ASSERT_EQ(starts(env, lp), 0) << vntclient_errortext();
    std::vector<double> sol(SPLIT + 10);
    vntmipprogress p = {};
    p.sol = sol.data();
    EXPECT_TRUE(eventually([&] {
        int rc = vntclient_progress(env, int(sol.size()), &p);
        return rc == 0 && p.solutions > 0 && p.nodes > 0;
    })) << vntclient_errortext();
    EXPECT_EQ(p.solcount, int64_t(sol.size()));
    EXPECT_GE(p.incumbent, p.bound);
    int state = -1;
    EXPECT_EQ(vntclient_test(env, &state), 0);
    EXPECT_EQ(state, VNTCLIENT_RUNNING);
    auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(vntclient_kill(env), 0);
    EXPECT_EQ(vntclient_join(env), 0);
    EXPECT_LT(since(begin), 5);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_STOPPED);
    EXPECT_LE(objective_of(env, lp), p.incumbent);
    VNTLPptr next = small_lp(env);
    EXPECT_EQ(VNTLlpopt(env, next), 0) << "a kill ends one solve only";
    EXPECT_EQ(objective_of(env, next), 6);
}

TEST_F(remote, ASolvePausesAtItsLimitAndGoesOn)
{
    VNTLPptr lp = split_mip(env);
    EXPECT_EQ(vntclient_setlimits(env, 0, 0.2), 0);
    ASSERT_EQ(starts(env, lp), 0);
    EXPECT_EQ(vntclient_join(env), VNTERR_SOLVING) << "paused";
    int state = -1;
    EXPECT_EQ(vntclient_test(env, &state), 0);
    EXPECT_EQ(state, VNTCLIENT_PAUSED);
    vntmipprogress before = {}, after = {};
    EXPECT_EQ(vntclient_progress(env, 0, &before), 0);
    EXPECT_EQ(vntclient_continue(env, 0, 0.2), 0);
    EXPECT_EQ(vntclient_join(env), VNTERR_SOLVING);
    EXPECT_EQ(vntclient_progress(env, 0, &after), 0);
    EXPECT_GT(after.iterations, before.iterations);
    EXPECT_EQ(vntclient_terminate(env), 0);
    EXPECT_EQ(vntclient_join(env), 0);
}

TEST_F(remote, AProblemOutlivesTheConnectionAndTheProcess)
{
    VNTLPptr lp = small_lp(env);
    char info[VNTCLIENT_INFO_LENGTH];
    VNTENVptr back = nullptr;
    for (int i = 0; i < 20; i++) {
        ASSERT_EQ(vntclient_disconnect(env, info), 0) << vntclient_errortext();
        EXPECT_EQ(VNTLlpopt(env, lp), VNTERR_REMOTE);
        ASSERT_EQ(vntclient_reconnect(info, &back), 0) << vntclient_errortext();
        ASSERT_EQ(back, env);
        EXPECT_EQ(VNTLlpopt(env, lp), 0);
    }
    EXPECT_EQ(objective_of(env, lp), 6);

    int64_t length;
    EXPECT_EQ(vntclient_pack(env, nullptr, 0, &length), 0);
    std::vector<char> record(static_cast<size_t>(length));
    EXPECT_EQ(vntclient_pack(env, record.data(), length, &length), 0);
    EXPECT_EQ(vntclient_disconnect(env, info), 0);
    EXPECT_EQ(VNTLcloseVANTO(&env), 0);
    EXPECT_EQ(s.workers().size(), 1u);
    ASSERT_EQ(vntclient_attach(record.data(), length, &env), 0) << vntclient_errortext();
    ASSERT_EQ(vntclient_getproblems(env, 1, &lp), 1);
    EXPECT_EQ(objective_of(env, lp), 6);
    EXPECT_EQ(VNTLcloseVANTO(&env), 0);
    EXPECT_TRUE(eventually([this] { return s.workers().empty(); }));
    EXPECT_EQ(vntclient_attach(record.data(), length, &env), VNTERR_CONNECTION_LOST);
}

TEST_F(remote, ASolveGoesOnWhileItsCallerIsAway)
{
    VNTLPptr lp = split_mip(env);
    ASSERT_EQ(starts(env, lp), 0);
    int64_t length;
    EXPECT_EQ(vntclient_pack(env, nullptr, 0, &length), 0);
    std::vector<char> record(static_cast<size_t>(length));
    EXPECT_EQ(vntclient_pack(env, record.data(), length, &length), 0);
    char info[VNTCLIENT_INFO_LENGTH];
    ASSERT_EQ(vntclient_disconnect(env, info), 0) << vntclient_errortext();
    EXPECT_EQ(VNTLcloseVANTO(&env), 0);
    ASSERT_EQ(vntclient_attach(record.data(), length, &env), 0) << vntclient_errortext();
    ASSERT_EQ(vntclient_getproblems(env, 1, &lp), 1);
    int state = -1;
    EXPECT_EQ(vntclient_test(env, &state), 0);
    EXPECT_EQ(state, VNTCLIENT_RUNNING);
    vntmipprogress p = {};
    EXPECT_TRUE(eventually([&] { return vntclient_progress(env, 0, &p) == 0 && p.solutions > 0; }));
    EXPECT_EQ(vntclient_kill(env), 0);
    EXPECT_EQ(vntclient_join(env), 0);
    EXPECT_LE(objective_of(env, lp), p.incumbent);
}

TEST_F(remote, AResilientJoinLeavesAndComesBack)
{
    VNTLPptr lp = split_mip(env);
    ASSERT_EQ(starts(env, lp), 0);
    int looks = 0;
    auto tenth = [](VNTENVptr, void *data) { return int(++*static_cast<int *>(data) == 10); };
    EXPECT_EQ(vntclient_joinresilient(env, 0.05, 5, tenth, &looks), 0) << vntclient_errortext();
    EXPECT_EQ(looks, 10);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_STOPPED);
    // The worker dies while it is left alone.
    ASSERT_EQ(starts(env, lp), 0);
    std::thread killer([this] {
        usleep(300'000);
        for (pid_t worker : s.workers())
            kill(worker, SIGKILL);
    });
    EXPECT_EQ(vntclient_joinresilient(env, 0.1, 5, nullptr, nullptr), VNTERR_CONNECTION_LOST);
    killer.join();
}

TEST_F(remote, AGroupSolvesOneProblemManyTimes)
{
    VNTENVptr envs[4] = {env, open_at(s), open_at(s), open_at(s)};
    int status = -1, statuses[4];
    VNTCLIENTGROUPptr group = vntclient_group_create(4, envs, &status);
    ASSERT_EQ(status, 0) << vntclient_errortext();
    EXPECT_EQ(vntclient_group_call(group), 0);
    VNTLPptr lp = VNTLcreateprob(env, &status, "small");
    EXPECT_EQ(vntclient_group_call(group), 0);
    const double objective[] = {1, 2}, ub[] = {3, 2};
    EXPECT_EQ(VNTLnewcols(env, lp, 2, objective, nullptr, ub, nullptr, nullptr), 0);
    EXPECT_EQ(vntclient_group_call(group), 0);
    EXPECT_EQ(VNTLchgobjsen(env, lp, VNT_MAX), 0);
    EXPECT_EQ(vntclient_group_call(group), 0);
    EXPECT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(vntclient_group_statuses(group, statuses), 0);
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(statuses[i], 0);
        EXPECT_EQ(objective_of(envs[i], vntclient_group_problem(group, lp, i)), 7) << i;
    }
    vntclient_group_destroy(&group);
    for (int i = 1; i < 4; i++)
        EXPECT_EQ(VNTLcloseVANTO(&envs[i]), 0);
}

TEST(Polling, ASolveIsControlledWithoutThreadsInTheWorker)
{
    server s({"-nothreads"});
    VNTENVptr env = open_at(s);
    VNTLPptr lp = split_mip(env);
    ASSERT_EQ(starts(env, lp), 0) << vntclient_errortext();
    vntmipprogress p = {};
    EXPECT_TRUE(eventually([&] { return vntclient_progress(env, 0, &p) == 0 && p.solutions > 0; }))
        << vntclient_errortext();
    EXPECT_EQ(vntclient_kill(env), 0);
    EXPECT_EQ(vntclient_join(env), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_STOPPED);
    EXPECT_EQ(VNTLcloseVANTO(&env), 0);
}
