#include "solver/calls/test_session.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <numeric>
#include <random>
#include <thread>

namespace vnt {

using solving = session;

TEST_F(solving, TheAnswersOfALinearProblemFitTogether)
{
    VNTLPptr lp = problem_of_file("israel.mps");
    expect_optimum(VNTLlpopt, lp, -896644.82186);
    int cols = VNTLgetnumcols(env, lp), rows = VNTLgetnumrows(env, lp), status = 0;
    std::vector<double> x(cols), dj(cols), found(cols), pi(rows), slack(rows);
    ASSERT_EQ(VNTLsolution(env, lp, &status, nullptr, x.data(), pi.data(), slack.data(), dj.data()),
              0);
    EXPECT_NEAR(VNTLEobjfromx(env, lp, x.data()), objective(lp), 1e-3);
    ASSERT_EQ(VNTLdjfrompi(env, lp, pi.data(), found.data()), 0);
    for (int j = 0; j < cols; j++)
        EXPECT_NEAR(dj[j], found[j], 1e-6 * (1 + std::fabs(dj[j])));
    std::vector<double> rhs = asked(VNTLgetrhs, lp, rows), activity = asked(VNTLgetax, lp, rows);
    for (int i = 0; i < rows; i++)
        EXPECT_EQ(rhs[i] - activity[i], slack[i]);
    double most = 1;
    ASSERT_EQ(VNTLgetdblquality(env, lp, &most, VNT_QUALITY_MAX_PRIMAL_INFEASIBILITY), 0);
    EXPECT_LT(most, 1e-5);
    const std::pair<decltype(&VNTLlpopt), int> methods[] = {{VNTLprimopt, VNT_METHOD_PRIMAL},
                                                            {VNTLdualopt, VNT_METHOD_DUAL},
                                                            {VNTLbaropt, VNT_METHOD_BARRIER}};
    for (auto [solve, method] : methods) {
        expect_optimum(solve, lp, -896644.82186);
        EXPECT_EQ(VNTLgetmethod(env, lp), method);
    }
    EXPECT_TRUE(has(heard[CHANNEL_RESULTS], "Optimal, objective -896644.8218"));
}

TEST_F(solving, AChangeTakesTheAnswerAwayAndLeavesTheBasis)
{
    VNTLPptr lp = problem_from("max\n x + 2 y\nst\n c: x + y <= 4\n d: x - y <= 1\nend\n");
    double value = 0, one = 1, five = 5;
    int row = 0;
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    ASSERT_EQ(VNTLchgrhs(env, lp, 1, &row, &five), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_NONE);
    EXPECT_EQ(VNTLgetobjval(env, lp, &value), VNTERR_NO_SOLUTION);
    ASSERT_EQ(VNTLnewcols(env, lp, 1, &one, nullptr, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(VNTLnewrows(env, lp, 1, &one, "L", nullptr, nullptr), 0);
    ASSERT_EQ(VNTLchgcoef(env, lp, 2, 2, 1), 0);
    EXPECT_EQ(VNTLEcangetbase(env, lp), 1) << "it was fitted";
    expect_optimum(VNTLlpopt, lp, 11);
    ASSERT_EQ(VNTLdelrows(env, lp, 0, 0), 0); // a row that is not basic takes the basis along
    EXPECT_EQ(VNTLEcangetbase(env, lp), 0);
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_UNBOUNDED);
    double ray[3];
    ASSERT_EQ(VNTLgetray(env, lp, ray), 0);
    EXPECT_GT(ray[0] + 2 * ray[1] + ray[2], 0);
}

TEST_F(solving, APointFoundWithoutTheObjectiveIsNoIncumbent)
{
    VNTLPptr lp =
        problem_from("max\n -0.4 x - 4.8 y\nst\n -1.93 x - 3.93 y = 13.72\nbounds\n x free\n"
                     " y free\ngeneral\n x\n y\nend\n");
    EXPECT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_UNBOUNDED);
    EXPECT_TRUE(has(heard[CHANNEL_LOG], "* incumbent 14.8 "));
    EXPECT_FALSE(has(heard[CHANNEL_LOG], "* incumbent 0 "));
}

TEST_F(solving, ThePoolHoldsTheSolutionsOfTheSearchTheBestLast)
{
    VNTLPptr lp = problem_of_file("egout.mps");
    expect_optimum(VNTLmipopt, lp, 568.1007);
    int cols = VNTLgetnumcols(env, lp), count = VNTLgetsolnpoolnumsolns(env, lp);
    ASSERT_GT(count, 0);
    std::vector<double> x(cols);
    double value = 0;
    for (int k = 0; k < count; k++) {
        ASSERT_EQ(VNTLgetsolnpoolx(env, lp, k, x.data(), 0, cols - 1), 0);
        ASSERT_EQ(VNTLgetsolnpoolobjval(env, lp, k, &value), 0);
        EXPECT_NEAR(VNTLEobjfromx(env, lp, x.data()), value, 1e-6);
    }
    EXPECT_NEAR(value, objective(lp), 1e-6);
    ASSERT_EQ(VNTLdelsolnpoolsolns(env, lp, 0, count - 1), 0);
    EXPECT_EQ(VNTLgetsolnpoolnumsolns(env, lp), 0);
    EXPECT_NEAR(objective(lp), 568.1007, 5e-4) << "the solution itself stays";
}

TEST_F(solving, AMipIsFixedAtItsSolutionRelaxedAndItselfAgain)
{
    VNTLPptr lp = problem_of_file("egout.mps");
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    std::string before = all_of(lp);
    ASSERT_EQ(VNTLchgprobtype(env, lp, VNT_PROB_FIXED_MIP), 0);
    expect_optimum(VNTLlpopt, lp, 568.1007);
    ASSERT_EQ(VNTLchgprobtype(env, lp, VNT_PROB_MIP), 0);
    EXPECT_EQ(all_of(lp), before);
    ASSERT_EQ(VNTLchgprobtype(env, lp, VNT_PROB_LP), 0);
    expect_optimum(VNTLlpopt, lp, 149.5887662);
}

TEST_F(solving, AParameterThatNothingActsOnSaysSoOnce)
{
    VNTLPptr lp = problem_of_file("afiro.mps");
    ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_THREADS, 1), 0);
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(heard[CHANNEL_WARNING], "") << "one thread is what there is";
    ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_THREADS, 8), 0);
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_TRUE(has(heard[CHANNEL_WARNING], "VNT_PARAM_THREADS"));
    heard[CHANNEL_WARNING].clear();
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(heard[CHANNEL_WARNING], "");
}

// A big M of 1e8 hides what it lets through, and an infinite one there is not.
TEST_F(solving, ASemiContinuousColumnIsZeroOrBetweenItsBoundsHoweverWide)
{
    VNTLPptr lp = problem_of_file("semi-continuous.lp");
    expect_optimum(VNTLmipopt, lp, 8.2233333333);
    for (const char *bounds : {"5 <= x <= 1e8", "x >= 5"})
        for (int presolve : {0, 1}) {
            SCOPED_TRACE(bounds);
            ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_PRESOLVE, presolve), 0);
            lp = problem_from(
                std::string("min\n x + 100 y\nst\n c: x + y >= 1\nbounds\n y <= 1\n ") + bounds +
                "\nsemis\n x\nend\n");
            expect_optimum(VNTLmipopt, lp, 5);
        }
    lp = problem_from("max\n x\nst\n c: x + y >= 1\nbounds\n x >= 2\nsemis\n x\nend\n");
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_UNBOUNDED);
}

TEST_F(solving, AnIndicatorNeedsNoBounds)
{
    const std::string rows = "st\n r: x - y <= 5\n i: z = 1 -> x <= 2\nbinary\n z\nend\n";
    VNTLPptr lp = problem_from("max\n x + 3 z - 0.001 y\n" + rows);
    ASSERT_EQ(VNTLmipopt(env, lp), 0) << heard[CHANNEL_ERROR];
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_UNBOUNDED) << "where z is 0";
    lp = problem_from("max\n x + 3 z - 2 y\n" + rows);
    expect_optimum(VNTLmipopt, lp, 5); // x = 5 with z = 0, or x = 2 with z = 1
}

// Infeasible at a glance, by a row, a column or what both cannot do together.
TEST_F(solving, EveryInfeasibleLinearProblemHasAPositiveProof)
{
    for (const char *rest : {"c: 0 x >= 1\nend\n", "c: x + y >= 3\nbounds\n 3 <= x <= 2\nend\n",
                             "c: x + y >= 5\n d: x + y <= 4\nend\n",
                             "c: 1e-7 x + y >= 5\n d: 1e-7 x + y <= 4\nend\n"}) {
        SCOPED_TRACE(rest);
        VNTLPptr lp = problem_from(std::string("min\n x + y\nst\n ") + rest);
        for (auto *method : {VNTLprimopt, VNTLdualopt, VNTLbaropt}) {
            double weights[2] = {}, proof = 0;
            ASSERT_EQ(method(env, lp), 0);
            ASSERT_EQ(VNTLgetstat(env, lp), VNT_STAT_INFEASIBLE);
            ASSERT_EQ(VNTLdualfarkas(env, lp, weights, &proof), 0);
            EXPECT_GT(proof, 0);
        }
    }
}

// The duplicate columns took 17 s to find, past every limit.
TEST_F(solving, ManyEqualColumnsDoNotHoldPresolveUp)
{
    constexpr int count = 300000;
    VNTLPptr lp = problem();
    std::vector<double> ones(count, 1);
    std::vector<int> all(count);
    std::iota(all.begin(), all.end(), 0);
    double rhs = 7;
    int64_t begin = 0;
    ASSERT_EQ(VNTLnewcols(env, lp, count, ones.data(), nullptr, ones.data(), nullptr, nullptr), 0);
    ASSERT_EQ(VNTLaddrows(env, lp, 0, 1, count, &rhs, "G", &begin, all.data(), ones.data(), nullptr,
                          nullptr),
              0);
    std::chrono::duration<double> took[2];
    for (int presolve : {0, 1}) {
        ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_PRESOLVE, presolve), 0);
        auto begun = std::chrono::steady_clock::now();
        VNTLPptr fresh = VNTLcloneprob(env, lp, nullptr);
        ASSERT_EQ(VNTLlpopt(env, fresh), 0);
        took[presolve] = std::chrono::steady_clock::now() - begun;
        EXPECT_NEAR(objective(fresh), 7, 1e-6);
    }
    EXPECT_LT(took[1], 8 * took[0]);
}

TEST_F(solving, StartsAreTriedInOrderAndTheOrderOfBranchingIsObeyed)
{
    VNTLPptr lp = problem_from("max\n 5 a + 4 b + 3 c\nst\n r: 2 a + 3 b + c <= 5\n"
                               " s: 4 a + b + 2 c <= 11\n t: 3 a + 4 b + 2 c <= 8\n"
                               "general\n a\n b\n c\nend\n");
    int64_t begin[] = {0, 3, 6};
    int index[] = {0, 1, 2, 0, 1, 2, 0, 1, 2};
    double value[] = {9, 9, 9, 1, 0, 1, 1, 0, 2}; // infeasible, 8, 11
    ASSERT_EQ(VNTLaddmipstarts(env, lp, 3, 9, begin, index, value, nullptr, nullptr), 0);
    expect_optimum(VNTLmipopt, lp, 13);
    ASSERT_GE(VNTLgetsolnpoolnumsolns(env, lp), 3);
    for (auto [place, expected] : {std::pair(0, 8.0), std::pair(1, 11.0)}) {
        double found = 0;
        ASSERT_EQ(VNTLgetsolnpoolobjval(env, lp, place, &found), 0);
        EXPECT_EQ(found, expected);
    }
    for (int parameter : {VNT_PARAM_PRESOLVE, VNT_PARAM_CUTS, VNT_PARAM_HEURISTICS})
        ASSERT_EQ(VNTLsetintparam(env, parameter, 0), 0);
    VNTLPptr ordered = problem_of_file("p0033.mps");
    auto nodes = [&](bool back) {
        int cols = VNTLgetnumcols(env, ordered);
        std::vector<int> all(cols), priority(cols);
        std::iota(all.begin(), all.end(), 0);
        std::iota(priority.begin(), priority.end(), 1);
        if (back) std::reverse(priority.begin(), priority.end());
        EXPECT_EQ(VNTLcopyorder(env, ordered, cols, all.data(), priority.data(), nullptr), 0);
        expect_optimum(VNTLmipopt, ordered, 3089);
        return VNTLgetnodecnt(env, ordered);
    };
    EXPECT_NE(nodes(false), nodes(true));
}

TEST_F(solving, SetsAndStartsForgetADeletedColumn)
{
    VNTLPptr lp = problem_from("max\n 3 a + 2 b + 4 c - 2 d\nst\n r: a + b + c + d <= 9\nbounds\n"
                               " a <= 2\n b <= 2\n c <= 1\n -5 <= d <= 5\n"
                               "sos\n s: S2:: a:1 b:3 c:2 d:4\nend\n");
    int64_t begin = 0, count = 0, surplus = 0;
    int index[] = {2, 3}, back[3];
    double value[] = {2, 4};
    ASSERT_EQ(VNTLaddmipstarts(env, lp, 1, 2, &begin, index, value, nullptr, nullptr), 0);
    expect_optimum(VNTLmipopt, lp, 14); // neighbours in the order a, c, b, d
    ASSERT_EQ(VNTLdelcols(env, lp, 2, 2), 0);
    ASSERT_EQ(VNTLgetsos(env, lp, &count, nullptr, &begin, back, nullptr, 3, &surplus, 0, 0), 0);
    EXPECT_EQ(back[2], 2) << "d moved down";
    ASSERT_EQ(VNTLgetmipstarts(env, lp, &count, &begin, back, value, nullptr, 2, &surplus, 0, 0),
              0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(back[0], 2);
}

// Small random problems of integer columns, with sets and indicators, against all their points.
struct enumerated : session {
    static constexpr int cols = 4, rows = 3;
    std::mt19937 random;
    VNTLPptr lp = nullptr;
    double x[cols], low[cols], high[cols];

    int below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }

    void build(unsigned seed)
    {
        random.seed(seed);
        lp = problem();
        for (int j = 0; j < cols; j++) {
            char type = j == 0 ? 'B' : "BIIN"[below(4)];
            double obj = below(13) - 6;
            low[j] = type == 'B' ? 0 : type == 'N' ? 1 + below(2) : -below(3);
            high[j] = type == 'B' ? 1 : low[j] + 1 + below(3);
            ASSERT_EQ(VNTLnewcols(env, lp, 1, &obj, &low[j], &high[j], &type, nullptr), 0);
        }
        ASSERT_EQ(VNTLchgobjsen(env, lp, below(2) == 0 ? VNT_MIN : VNT_MAX), 0);
        int64_t begin = 0;
        int all[cols] = {0, 1, 2, 3};
        double value[cols], weight[] = {2, 1, 3, 4};
        for (int i = 0; i < rows; i++) {
            for (double &v : value)
                v = below(9) - 4;
            double rhs = below(9) - 2;
            char sense = below(6) == 0 ? 'E' : i == 0 ? 'G' : 'L';
            ASSERT_EQ(VNTLaddrows(env, lp, 0, 1, cols, &rhs, &sense, &begin, all, value, nullptr,
                                  nullptr),
                      0);
        }
        if (below(2) == 0) {
            char type = "12"[below(2)];
            ASSERT_EQ(VNTLaddsos(env, lp, 1, cols, &type, &begin, all, weight, nullptr), 0);
        }
        for (double &v : value)
            v = below(5) - 2;
        if (below(2) == 0) {
            ASSERT_EQ(VNTLaddindconstr(env, lp, 0, below(2), cols, below(5), "LGE"[below(3)], all,
                                       value, nullptr),
                      0);
        }
    }

    bool feasible()
    {
        double beyond[cols + rows + 2] = {};
        EXPECT_EQ(VNTLgetcolinfeas(env, lp, x, beyond, 0, cols - 1), 0);
        EXPECT_EQ(VNTLgetrowinfeas(env, lp, x, beyond + cols, 0, rows - 1), 0);
        VNTLgetsosinfeas(env, lp, x, beyond + cols + rows, 0, VNTLgetnumsos(env, lp) - 1);
        VNTLgetindconstrinfeas(env, lp, x, beyond + cols + rows + 1, 0,
                               VNTLgetnumindconstrs(env, lp) - 1);
        return std::all_of(std::begin(beyond), std::end(beyond), [](double b) { return b == 0; });
    }

    // The best objective of the points from column j on, in the sense of a minimum.
    double best(int j)
    {
        if (j == cols) {
            return feasible() ? VNTLgetobjsen(env, lp) * VNTLEobjfromx(env, lp, x) : VNT_INFINITY;
        }
        double found = VNT_INFINITY;
        for (x[j] = std::min(low[j], 0.0); x[j] <= high[j]; x[j]++)
            found = std::min(found, best(j + 1));
        return found;
    }
};

TEST_F(enumerated, NoPointIsBetterThanTheOneFound)
{
    int solved = 0;
    for (unsigned seed = 1; seed <= 400; seed++) {
        SCOPED_TRACE(seed);
        build(seed);
        ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_PRESOLVE, seed % 2), 0);
        ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_CUTS, seed % 3 != 0), 0);
        ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_HEURISTICS, seed % 5 != 0), 0);
        double expected = best(0);
        ASSERT_EQ(VNTLmipopt(env, lp), 0) << heard[CHANNEL_ERROR];
        if (expected == VNT_INFINITY) {
            ASSERT_EQ(VNTLgetstat(env, lp), VNT_STAT_INFEASIBLE);
            continue;
        }
        solved++;
        ASSERT_EQ(VNTLgetstat(env, lp), VNT_STAT_OPTIMAL);
        ASSERT_NEAR(VNTLgetobjsen(env, lp) * objective(lp), expected, 1e-6);
        ASSERT_EQ(VNTLgetx(env, lp, x, 0, cols - 1), 0);
        for (double &v : x)
            v = std::round(v);
        ASSERT_TRUE(feasible());
        ASSERT_EQ(VNTLfreeprob(env, &lp), 0);
    }
    EXPECT_GT(solved, 130);
}

// To the last bit and the last tick.  The linear algebra of quadratic problems is not reentrant.
TEST(Threads, WithEnvironmentsOfTheirOwnAgreeWithOneAlone)
{
    auto all = [] {
        std::vector<double> found;
        int status = 0;
        VNTENVptr env = VNTLopenVANTO(&status);
        for (const char *name : {"israel.mps", "p0033.mps", "dual1.qps", "dual1.qps"}) {
            VNTLPptr lp = VNTLcreateprob(env, &status, name);
            std::string file = source_path(std::string("test/models/") + name);
            EXPECT_EQ(VNTEreadcopyprob(env, lp, file.c_str(), nullptr, 0, nullptr), 0);
            int type = VNTLgetprobtype(env, lp), cols = VNTLgetnumcols(env, lp);
            EXPECT_EQ((type == VNT_PROB_LP   ? VNTLlpopt
                       : type == VNT_PROB_QP ? VNTLqpopt
                                             : VNTLmipopt)(env, lp),
                      0);
            std::vector<double> x(cols);
            EXPECT_EQ(VNTLgetx(env, lp, x.data(), 0, cols - 1), 0);
            found.insert(found.end(), x.begin(), x.end());
            double ticks = 0; // those of waiting for a turn count as well
            EXPECT_EQ(VNTLgetdettime(env, &ticks), 0);
            found.push_back(type == VNT_PROB_QP ? 0 : ticks);
        }
        EXPECT_EQ(VNTLcloseVANTO(&env), 0);
        return found;
    };
    std::vector<double> alone = all(), found[4];
    std::vector<std::thread> threads;
    for (std::vector<double> &mine : found)
        threads.emplace_back([&] { mine = all(); });
    for (std::thread &t : threads)
        t.join();
    for (const std::vector<double> &mine : found)
        EXPECT_EQ(mine, alone);
}

// What a running solve calls back.
struct watched : solving {
    int polls = 0, burst = 0, pauses = 0; // polls since the last pause, the most of them
    volatile int terminate = 0;
    std::function<bool()> stop = [] { return false; }; // asked at each pause
    uint64_t last_tick = 0;
    int columns = 0;
    vntmipprogress seen = {};
    double inject = 0;

    void SetUp() override
    {
        solving::SetUp();
        ASSERT_EQ(VNTEsetterminatefunc(env, poll, this), 0);
        ASSERT_EQ(VNTEsetpausecallbackfunc(env, pause, this), 0);
        ASSERT_EQ(VNTLEsetasyncterminate(env, &terminate), 0);
    }
    static int poll(VNTENVptr, void *data)
    {
        static_cast<watched *>(data)->polls++;
        return 0;
    }
    static int pause(VNTENVptr env, void *cbdata, uint64_t ticks, void *data)
    {
        watched &w = *static_cast<watched *>(data);
        EXPECT_TRUE(w.pauses == 0 || ticks >= w.last_tick);
        w.last_tick = ticks;
        w.pauses++;
        w.burst = std::max(w.burst, std::exchange(w.polls, 0));
        std::vector<double> x(w.columns + 1);
        w.seen.sol = x.data();
        EXPECT_EQ(VNTEgetasyncmipprogress(env, cbdata, w.columns, &w.seen, 4711), 0);
        EXPECT_EQ(VNTEgetasyncmipprogress(env, &w, 0, &w.seen, 0), VNTERR_BAD_ARGUMENT);
        EXPECT_EQ(VNTLsetdefaults(env), VNTERR_SOLVING) << "nothing changes under a solve";
        if (w.inject != 0) {
            EXPECT_EQ(VNTEasyncprogressinject(env, cbdata, w.inject, 1, 1e75), 0);
        }
        return w.stop() ? 13 : 0;
    }
    int solve(VNTLPptr lp)
    {
        pauses = 0; // each solve counts its ticks from 0
        int mip = VNTLgetnumint(env, lp) + VNTLgetnumbin(env, lp);
        EXPECT_EQ(mip > 0 ? VNTLmipopt(env, lp) : VNTLlpopt(env, lp), 0);
        return VNTLgetstat(env, lp);
    }
};

TEST_F(watched, ASolveTellsItsProgressAndEndsWhenItIsTold)
{
    VNTLPptr lp = problem_of_file("25fv47.mps");
    stop = [this] { return pauses == 20; };
    EXPECT_EQ(solve(lp), VNT_STAT_STOPPED);
    stop = [] { return false; };
    terminate = 1;
    EXPECT_EQ(solve(lp), VNT_STAT_STOPPED);
    terminate = 0;
    EXPECT_EQ(solve(lp), VNT_STAT_OPTIMAL);
    EXPECT_NEAR(objective(lp), 5501.8458883, 5e-3);
    EXPECT_GT(pauses, 10);
    EXPECT_GE(burst, 100) << "one reaches a handler that acts on every 100th call";
    EXPECT_EQ(seen.incumbent, 4711) << "the reference, without an incumbent";
    EXPECT_EQ(VNTEgetasyncmipprogress(env, this, 0, &seen, 0), VNTERR_BAD_ARGUMENT)
        << "only from inside the callback";
}

TEST_F(watched, ASearchTellsItsIncumbentAndKeepsItWhenStopped)
{
    VNTLPptr lp = problem_of_file("misc07.mps");
    columns = VNTLgetnumcols(env, lp);
    stop = [this] { return seen.solcount > 0 && seen.phase == 1; };
    EXPECT_EQ(solve(lp), VNT_STAT_STOPPED);
    EXPECT_EQ(seen.solcount, columns);
    EXPECT_LE(seen.bound, 2810 + 1e-6);
    EXPECT_NEAR(objective(lp), seen.incumbent, 1e-6 * std::fabs(seen.incumbent));
}

TEST_F(watched, AnInjectedObjectiveCutsOffWhatIsNoBetter)
{
    inject = 3000; // the optimum is 3089
    EXPECT_EQ(solve(problem_of_file("p0033.mps")), VNT_STAT_CUTOFF);
}

TEST_F(watched, OtherThreadsFindTheEnvironmentBusy)
{
    VNTLPptr lp = problem_of_file("afiro.mps"), copy = lp;
    VNTENVptr same = env;
    std::atomic<bool> inside = false, go = false;
    stop = [&] {
        inside = true;
        inside.notify_all();
        go.wait(false);
        return false;
    };
    std::thread solver([&] { EXPECT_EQ(VNTLlpopt(env, lp), 0); });
    inside.wait(false);
    EXPECT_EQ(VNTLlpopt(env, lp), VNTERR_SOLVING);
    EXPECT_EQ(VNTLfreeprob(env, &copy), VNTERR_SOLVING);
    EXPECT_EQ(VNTLcloseVANTO(&same), VNTERR_SOLVING);
    EXPECT_EQ(VNTLgetnumcols(env, lp), 0);
    go = true;
    go.notify_all();
    solver.join();
    EXPECT_EQ(VNTLgetnumcols(env, lp), 32);
}

} // namespace vnt
