#include "solver/test_session.h"

#include <atomic>
#include <cmath>
#include <random>
#include <thread>

struct solving : session {
    // The duality of an optimal basis: objective, feasibility and reduced costs fit together.
    void expect_optimal(VNTLPptr lp, double optimum)
    {
        EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_OPTIMAL);
        EXPECT_NEAR(objective(lp), optimum, 1e-6 * std::max(1.0, std::fabs(optimum)));
        int cols = VNTLgetnumcols(env, lp), rows = VNTLgetnumrows(env, lp);
        std::vector<double> x(cols), infeasible(std::max(cols, rows));
        ASSERT_EQ(VNTLgetx(env, lp, x.data(), 0, cols - 1), 0);
        EXPECT_NEAR(VNTLEobjfromx(env, lp, x.data()), objective(lp), 1e-9 * std::fabs(optimum));
        for (bool ofrows : {true, false}) {
            auto *ask = ofrows ? VNTLgetrowinfeas : VNTLgetcolinfeas;
            int count = ofrows ? rows : cols;
            ASSERT_EQ(ask(env, lp, x.data(), infeasible.data(), 0, count - 1), 0);
            for (int i = 0; i < count; i++)
                EXPECT_NEAR(infeasible[i], 0, 1e-5);
        }
    }
};

TEST_F(solving, EveryMethodFindsTheOptimum)
{
    VNTLPptr lp = problem_of_file("afiro.mps");
    for (auto *method : {VNTLlpopt, VNTLprimopt, VNTLdualopt, VNTLbaropt}) {
        VNTLPptr fresh = VNTLcloneprob(env, lp, nullptr);
        ASSERT_EQ(method(env, fresh), 0);
        expect_optimal(fresh, -464.7531428571);
        int found = 0, kind = 0, primal = 0, dual = 0;
        ASSERT_EQ(VNTLsolninfo(env, fresh, &found, &kind, &primal, &dual), 0);
        EXPECT_EQ(kind, VNT_SOLUTION_BASIC);
        EXPECT_EQ(primal + dual, 2);
        EXPECT_EQ(found, method == VNTLprimopt  ? VNT_METHOD_PRIMAL
                         : method == VNTLbaropt ? VNT_METHOD_BARRIER
                                                : VNT_METHOD_DUAL);
    }
    EXPECT_NE(heard[CHANNEL_RESULTS].find("Optimal, objective -464.753142857"), std::string::npos);
    EXPECT_EQ(VNTLmipopt(env, lp), VNTERR_NOT_MIP);
}

TEST_F(solving, TheAnswersOfALinearProblemFitTogether)
{
    VNTLPptr lp = problem_of_file("israel.mps");
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    expect_optimal(lp, -896644.82186);
    int cols = VNTLgetnumcols(env, lp), rows = VNTLgetnumrows(env, lp), status = 0;
    std::vector<double> x(cols), dj(cols), found(cols), pi(rows), slack(rows), activity(rows);
    ASSERT_EQ(VNTLsolution(env, lp, &status, nullptr, x.data(), pi.data(), slack.data(), dj.data()),
              0);
    ASSERT_EQ(VNTLdjfrompi(env, lp, pi.data(), found.data()), 0);
    for (int j = 0; j < cols; j++)
        EXPECT_NEAR(dj[j], found[j], 1e-6 * (1 + std::fabs(dj[j])));
    std::vector<double> rhs(rows), again(rows);
    ASSERT_EQ(VNTLgetrhs(env, lp, rhs.data(), 0, rows - 1), 0);
    ASSERT_EQ(VNTLgetax(env, lp, activity.data(), 0, rows - 1), 0);
    for (int i = 0; i < rows; i++)
        EXPECT_EQ(rhs[i] - activity[i], slack[i]);
    ASSERT_EQ(VNTLslackfromx(env, lp, x.data(), again.data()), 0);
    EXPECT_EQ(slack, again);
    double most = 1;
    ASSERT_EQ(VNTLgetdblquality(env, lp, &most, VNT_QUALITY_MAX_PRIMAL_INFEASIBILITY), 0);
    EXPECT_LT(most, 1e-5);
    ASSERT_EQ(VNTLgetdblquality(env, lp, &most, VNT_QUALITY_MAX_X), 0);
    EXPECT_EQ(most, *std::max_element(x.begin(), x.end()));
}

TEST_F(solving, AChangeTakesTheAnswerAwayAndLeavesTheBasis)
{
    VNTLPptr lp = problem_from("max\n x + 2 y\nst\n c: x + y <= 4\n d: x - y <= 1\nend\n");
    double value = 0, one = 1, five = 5;
    int row = 0;
    EXPECT_EQ(VNTLgetx(env, lp, &value, 0, 0), VNTERR_NO_SOLUTION);
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    ASSERT_EQ(VNTLchgrhs(env, lp, 1, &row, &five), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_NONE);
    EXPECT_EQ(VNTLgetobjval(env, lp, &value), VNTERR_NO_SOLUTION);
    EXPECT_EQ(VNTLEcangetbase(env, lp), 1);
    ASSERT_EQ(VNTLnewcols(env, lp, 1, &one, nullptr, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(VNTLnewrows(env, lp, 1, &one, "L", nullptr, nullptr), 0);
    ASSERT_EQ(VNTLchgcoef(env, lp, 2, 2, 1), 0);
    EXPECT_EQ(VNTLEcangetbase(env, lp), 1) << "it was fitted";
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    expect_optimal(lp, 11);
    ASSERT_EQ(VNTLdelrows(env, lp, 0, 0), 0); // a row that is not basic takes the basis along
    EXPECT_EQ(VNTLEcangetbase(env, lp), 0);
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_UNBOUNDED);
    double ray[3];
    ASSERT_EQ(VNTLgetray(env, lp, ray), 0);
    EXPECT_GT(ray[0] + 2 * ray[1] + ray[2], 0);
}

TEST_F(solving, AnInfeasibleProblemIsProvedToBe)
{
    VNTLPptr lp = problem_of_file("woodinfe.mps");
    ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_PRESOLVE, 0), 0);
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_INFEASIBLE);
    double value = 0;
    EXPECT_EQ(VNTLgetobjval(env, lp, &value), VNTERR_NO_SOLUTION);
    std::vector<double> y(VNTLgetnumrows(env, lp));
    double proof = -1;
    ASSERT_EQ(VNTLdualfarkas(env, lp, y.data(), &proof), 0);
    EXPECT_GT(proof, 0);
}

struct mip_case {
    const char *file;
    double optimum;
};
struct solving_mips : solving, testing::WithParamInterface<mip_case> {};

TEST_P(solving_mips, FindTheOptimum)
{
    VNTLPptr lp = problem_of_file(GetParam().file);
    EXPECT_EQ(VNTLlpopt(env, lp), VNTERR_NOT_LP);
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_NEAR(objective(lp), GetParam().optimum, 1e-6 * std::fabs(GetParam().optimum));
    double bound = 0, gap = 1;
    ASSERT_EQ(VNTLgetbestobjval(env, lp, &bound), 0);
    ASSERT_EQ(VNTLgetmiprelgap(env, lp, &gap), 0);
    EXPECT_LE(gap, 1e-6);
    int last = VNTLgetsolnpoolnumsolns(env, lp) - 1;
    ASSERT_GE(last, 0);
    ASSERT_EQ(VNTLgetsolnpoolobjval(env, lp, last, &bound), 0);
    EXPECT_NEAR(bound, objective(lp), 1e-9 * std::fabs(bound)) << "the best comes last";

    // Its discrete columns fixed, the continuous problem has the same optimum; then all is as
    // before.
    std::string before = all_of(lp);
    double optimum = objective(lp);
    ASSERT_EQ(VNTLchgprobtype(env, lp, VNT_PROB_FIXED_MIP), 0);
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_NEAR(objective(lp), optimum, 1e-6 * std::fabs(optimum));
    ASSERT_EQ(VNTLchgprobtype(env, lp, VNT_PROB_MIP), 0);
    EXPECT_EQ(all_of(lp), before);
    // The relaxation is no worse.
    ASSERT_EQ(VNTLchgprobtype(env, lp, VNT_PROB_LP), 0);
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_LE(objective(lp), optimum + 1e-6 * std::fabs(optimum));
}

INSTANTIATE_TEST_SUITE_P(Models, solving_mips,
                         testing::Values(mip_case{"p0033.mps", 3089},
                                         mip_case{"egout.mps", 568.1007},
                                         mip_case{"stein27.mps", 18}),
                         [](const auto &info) {
                             std::string name = info.param.file;
                             return name.substr(0, name.find('.'));
                         });

TEST_F(solving, AProblemWithoutColumnsHasASolution)
{
    VNTLPptr lp =
        problem_from("NAME t\nROWS\n N o\n L r\nCOLUMNS\nRHS\n RHS o -3 r 1\nENDATA\n", "mps");
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_OPTIMAL);
    EXPECT_EQ(objective(lp), 3);
    double slack = 0;
    ASSERT_EQ(VNTLgetslack(env, lp, &slack, 0, 0), 0);
    EXPECT_EQ(slack, 1);
}

TEST_F(solving, ASemiContinuousColumnIsZeroOrBetweenItsBounds)
{
    VNTLPptr lp = problem_of_file("semi-continuous.lp");
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    expect_optimal(lp, 8.2233333333);
    VNTLPptr zero = problem_from("min\n x + y\nst\n c: x + 0.6 y >= 1\nbounds\n 2 <= x <= 3\n"
                                 "semi-continuous\n x\nend\n");
    ASSERT_EQ(VNTLmipopt(env, zero), 0);
    expect_optimal(zero, 1 / 0.6);
    double x = -1;
    ASSERT_EQ(VNTLgetx(env, zero, &x, 0, 0), 0);
    EXPECT_EQ(x, 0);
    VNTLPptr unbounded = problem_from("min\n x\nst\n c: x >= 1\nbounds\n x >= 2\nsemis\n x\nend\n");
    EXPECT_EQ(VNTLmipopt(env, unbounded), VNTERR_NOT_SUPPORTED);
    EXPECT_NE(heard[CHANNEL_ERROR].find("\"x\""), std::string::npos);
}

TEST_F(solving, SpecialOrderedSetsHold)
{
    static const char text[] = "max\n 3 a + 2 b + 4 c - 2 d\nst\n r: a + b + c + d <= 9\nbounds\n"
                               " a <= 2\n b <= 2\n c <= 1\n -5 <= d <= 5\nend\n";
    struct {
        char type;
        double optimum; // one of 6, 4, 4 and 10; or neighbours in the order a, c, b, d
    } cases[] = {{'1', 10}, {'2', 14}};
    for (auto [type, optimum] : cases) {
        VNTLPptr lp = problem_from(text);
        int64_t begin = 0, count = 0, surplus = 0;
        int index[] = {0, 1, 2, 3}, back[4];
        double weight[] = {1, 3, 2, 4}, infeasible = -1, x[] = {1, 1, 0, 1};
        ASSERT_EQ(VNTLaddsos(env, lp, 1, 4, &type, &begin, index, weight, nullptr), 0);
        EXPECT_EQ(VNTLgetsos(env, lp, &count, nullptr, &begin, back, nullptr, 3, &surplus, 0, 0),
                  VNTERR_SPACE_TOO_SMALL);
        EXPECT_EQ(surplus, -1);
        ASSERT_EQ(VNTLmipopt(env, lp), 0);
        expect_optimal(lp, optimum);
        ASSERT_EQ(VNTLgetsosinfeas(env, lp, nullptr, &infeasible, 0, 0), 0);
        EXPECT_NEAR(infeasible, 0, 1e-6);
        ASSERT_EQ(VNTLgetsosinfeas(env, lp, x, &infeasible, 0, 0), 0);
        EXPECT_EQ(infeasible, type == '1' ? 2 : 1);
        ASSERT_EQ(VNTLdelcols(env, lp, 2, 2), 0);
        ASSERT_EQ(VNTLgetsos(env, lp, &count, nullptr, &begin, back, nullptr, 3, &surplus, 0, 0),
                  0);
        EXPECT_EQ(back[2], 2) << "d moved down";
        EXPECT_EQ(VNTLwriteprob(env, lp, "/dev/null", "mps"), VNTERR_FILE_FEATURE);
    }
}

TEST_F(solving, IndicatorsHoldWhereTheirColumnSaysSo)
{
    for (int where : {0, 1}) { // what z is where the indicator constraint holds
        VNTLPptr lp = problem_from("max\n x + y - 3 z\nst\n r: x + y <= 8\nbounds\n x <= 6\n"
                                   " y <= 7\nbinary\n z\nend\n");
        int index[] = {0, 1}, which = -1;
        double value[] = {1, 1}, slack = -1;
        // x + y <= 2 costs 6, but z = 1 only 3.
        ASSERT_EQ(VNTLaddindconstr(env, lp, 2, 1 - where, 2, 2, 'L', index, value, "ind"), 0);
        ASSERT_EQ(VNTLgetindconstrindex(env, lp, "ind", &which), 0);
        ASSERT_EQ(VNTLmipopt(env, lp), 0);
        expect_optimal(lp, where == 1 ? 8 : 5);
        ASSERT_EQ(VNTLgetindconstrslack(env, lp, &slack, 0, 0), 0);
        EXPECT_NEAR(slack, -6, 1e-6);
        ASSERT_EQ(VNTLgetindconstrinfeas(env, lp, nullptr, &slack, 0, 0), 0);
        EXPECT_EQ(slack, 0);
        double equal = 1; // and y - x = 1 wherever z is 0
        value[0] = -1;
        ASSERT_EQ(VNTLaddindconstr(env, lp, 2, 1, 2, equal, 'E', index, value, nullptr), 0);
        ASSERT_EQ(VNTLmipopt(env, lp), 0);
        double x[3];
        ASSERT_EQ(VNTLgetx(env, lp, x, 0, 2), 0);
        EXPECT_TRUE(x[2] > 0.5 || std::fabs(x[1] - x[0] - 1) < 1e-6);
        expect_optimal(lp, where == 1 ? 8 : 5);
    }
    VNTLPptr open = problem_from("max\n x\nst\n r: x >= 0\nbinary\n z\nend\n");
    int index = 0;
    double value = 1;
    ASSERT_EQ(VNTLaddindconstr(env, open, 1, 0, 1, 2, 'L', &index, &value, nullptr), 0);
    EXPECT_EQ(VNTLmipopt(env, open), VNTERR_NOT_SUPPORTED) << "x has no upper bound";
}

// Small random problems of integer columns, with sets and indicators, against all their points.
struct enumerated : solving {
    static constexpr int cols = 4;
    std::mt19937 random;
    VNTLPptr lp = nullptr;
    double x[cols], objective_of[cols], low[cols], high[cols];
    std::string types;

    int below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }

    void build(unsigned seed)
    {
        random.seed(seed);
        lp = problem();
        types.clear();
        for (int j = 0; j < cols; j++) {
            types.push_back("BIIN"[below(4)]);
            objective_of[j] = below(13) - 6;
            low[j] = types[j] == 'B' ? 0 : types[j] == 'N' ? 1 + below(2) : -below(3);
            high[j] = types[j] == 'B' ? 1 : low[j] + 1 + below(3);
        }
        ASSERT_EQ(VNTLnewcols(env, lp, cols, objective_of, low, high, types.c_str(), nullptr), 0);
        ASSERT_EQ(VNTLchgobjsen(env, lp, below(2) == 0 ? VNT_MIN : VNT_MAX), 0);
        int64_t begin = 0;
        int all[cols] = {0, 1, 2, 3};
        double value[cols];
        for (int i = 0; i < 3; i++) {
            for (double &v : value)
                v = below(9) - 4;
            double rhs = below(9) - 2;
            ASSERT_EQ(VNTLaddrows(env, lp, 0, 1, cols, &rhs,
                                  below(6) == 0 ? "E"
                                  : i == 0      ? "G"
                                                : "L",
                                  &begin, all, value, nullptr, nullptr),
                      0);
        }
        if (below(2) == 0) {
            double weight[] = {2, 1, 3, 4};
            ASSERT_EQ(VNTLaddsos(env, lp, 1, cols, below(2) == 0 ? "1" : "2", &begin, all, weight,
                                 nullptr),
                      0);
        }
        for (double &v : value)
            v = below(5) - 2;
        if (types[0] == 'B') {
            ASSERT_EQ(VNTLaddindconstr(env, lp, 0, below(2), cols, below(5), "LGE"[below(3)], all,
                                       value, nullptr),
                      0);
        }
    }

    bool feasible()
    {
        double beyond[3];
        for (int j = 0; j < cols; j++) {
            double of = 1;
            EXPECT_EQ(VNTLgetcolinfeas(env, lp, x, &of, j, j), 0);
            if (of != 0) return false;
        }
        EXPECT_EQ(VNTLgetrowinfeas(env, lp, x, beyond, 0, 2), 0);
        if (beyond[0] != 0 || beyond[1] != 0 || beyond[2] != 0) return false;
        beyond[0] = beyond[1] = 0;
        VNTLgetsosinfeas(env, lp, x, &beyond[0], 0, VNTLgetnumsos(env, lp) - 1);
        VNTLgetindconstrinfeas(env, lp, x, &beyond[1], 0, VNTLgetnumindconstrs(env, lp) - 1);
        return beyond[0] == 0 && beyond[1] == 0;
    }

    // The best objective of the points from column j on, in the sense of a minimum.
    double best(int j)
    {
        if (j == cols) {
            return feasible() ? VNTLgetobjsen(env, lp) * VNTLEobjfromx(env, lp, x) : VNT_INFINITY;
        }
        double found = VNT_INFINITY;
        for (x[j] = std::min(low[j], 0.0); x[j] <= high[j]; x[j]++) {
            found = std::min(found, best(j + 1));
        }
        return found;
    }
};

TEST_F(enumerated, NoPointIsBetterThanTheOneFound)
{
    int solved = 0;
    for (unsigned seed = 1; seed <= 120; seed++) {
        SCOPED_TRACE(seed);
        build(seed);
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
    EXPECT_GT(solved, 40);
}

TEST_F(solving, MipStartsAreKeptAndAskedFor)
{
    VNTLPptr lp = problem_of_file("p0033.mps");
    int64_t begin[] = {0, 2}, back[2], count = 0, surplus = 0;
    int index[] = {3, 1, 5}, effort[] = {1, 0}, which = 0, ind[3], marks[] = {1, 0};
    double value[] = {1, 0, 1}, val[3];
    const char *names[] = {"first", nullptr};
    ASSERT_EQ(VNTLaddmipstarts(env, lp, 2, 3, begin, index, value, effort, names), 0);
    EXPECT_EQ(VNTLgetmipstarts(env, lp, &count, back, ind, val, nullptr, 2, &surplus, 0, 1),
              VNTERR_SPACE_TOO_SMALL);
    EXPECT_EQ(surplus, -1);
    ASSERT_EQ(VNTLgetmipstarts(env, lp, &count, back, ind, val, nullptr, 3, &surplus, 0, 1), 0);
    EXPECT_EQ(back[1], 2);
    EXPECT_EQ(ind[2], 5);
    EXPECT_EQ(VNTLgetmipstartindex(env, lp, "m2", &which), 0);
    EXPECT_EQ(which, 1);
    ASSERT_EQ(VNTLdelcols(env, lp, 1, 1), 0); // the starts forget it too
    ASSERT_EQ(VNTLdelsetmipstarts(env, lp, marks), 0);
    EXPECT_EQ(VNTLgetnummipstarts(env, lp), 1);
    ASSERT_EQ(VNTLgetmipstarts(env, lp, &count, back, ind, val, nullptr, 3, &surplus, 0, 0), 0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(ind[0], 4);
    EXPECT_EQ(VNTLmipopt(env, lp), 0);
}

// What a running solve calls back.
struct watched : solving {
    std::atomic<int> polls = 0, pauses = 0;
    volatile int terminate = 0;
    int stopafter = 0; // pauses, 0 for never
    uint64_t lasttick = 0;
    int64_t columns = -1;
    int rc = -1;
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
        EXPECT_GE(ticks, w.lasttick);
        w.lasttick = ticks;
        w.pauses++;
        std::vector<double> x(std::max<int64_t>(w.columns, 1));
        w.seen.sol = x.data();
        w.rc = VNTEgetasyncmipprogress(env, cbdata, static_cast<int>(w.columns), &w.seen, 4711);
        EXPECT_EQ(VNTEgetasyncmipprogress(env, &w, 0, &w.seen, 0), VNTERR_BAD_ARGUMENT);
        EXPECT_EQ(VNTLgetnumcols(env, nullptr), 0);
        EXPECT_EQ(VNTLsetdefaults(env), VNTERR_SOLVING) << "nothing changes under a solve";
        if (w.inject != 0) {
            EXPECT_EQ(VNTEasyncprogressinject(env, cbdata, w.inject, 1, 1e75), 0);
        }
        return w.stopafter != 0 && w.pauses >= w.stopafter ? 13 : 0;
    }
};

TEST_F(watched, ASolveCallsBackAndTellsItsProgress)
{
    VNTLPptr lp = problem_of_file("25fv47.mps");
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    expect_optimal(lp, 5501.8458883);
    EXPECT_GT(pauses, 10);
    EXPECT_GE(polls, 100) << "bursts reach a handler that acts on every 100th call";
    EXPECT_EQ(rc, 0) << "a continuous problem tells its progress too";
    EXPECT_EQ(seen.incumbent, 4711) << "the reference, without an incumbent";
    EXPECT_EQ(seen.solcount, 0);
    EXPECT_EQ(seen.gap, 1e75);
    double ticks = 0;
    ASSERT_EQ(VNTLgetdettime(env, &ticks), 0);
    EXPECT_GE(ticks, static_cast<double>(lasttick));
    EXPECT_EQ(VNTEgetasyncmipprogress(env, this, 0, &seen, 0), VNTERR_BAD_ARGUMENT)
        << "only from inside the callback";
}

TEST_F(watched, ASolveEndsWhenItIsTold)
{
    VNTLPptr lp = problem_of_file("25fv47.mps");
    stopafter = 20;
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_STOPPED);
    stopafter = 0;
    lasttick = 0; // each solve counts from 0
    terminate = 1;
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_STOPPED);
    terminate = 0;
    lasttick = 0;
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    expect_optimal(lp, 5501.8458883);
}

// The pool of solutions.
TEST_F(solving, ThePoolHoldsTheSolutionsOfTheSearch)
{
    VNTLPptr lp = problem_of_file("p0201.mps");
    int cols = VNTLgetnumcols(env, lp), rows = VNTLgetnumrows(env, lp), index = -1;
    EXPECT_EQ(VNTLgetsolnpoolx(env, lp, 0, nullptr, 0, 0), VNTERR_INDEX_RANGE);
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    int count = VNTLgetsolnpoolnumsolns(env, lp);
    ASSERT_GT(count, 0);
    std::vector<double> x(cols), slack(rows), again(rows);
    double value = 0, mean = 0, sum = 0, worst = 1;
    for (int k = 0; k < count; k++) {
        ASSERT_EQ(VNTLgetsolnpoolx(env, lp, k, x.data(), 0, cols - 1), 0);
        ASSERT_EQ(VNTLgetsolnpoolobjval(env, lp, k, &value), 0);
        EXPECT_NEAR(VNTLEobjfromx(env, lp, x.data()), value, 1e-6);
        EXPECT_GE(value, objective(lp) - 1e-6);
        ASSERT_EQ(VNTLgetsolnpoolslack(env, lp, k, slack.data(), 0, rows - 1), 0);
        ASSERT_EQ(VNTLslackfromx(env, lp, x.data(), again.data()), 0);
        EXPECT_EQ(slack, again);
        ASSERT_EQ(
            VNTLgetsolnpooldblquality(env, lp, k, &worst, VNT_QUALITY_MAX_INTEGER_INFEASIBILITY),
            0);
        EXPECT_LT(worst, 1e-5);
        sum += value;
    }
    ASSERT_EQ(VNTLgetsolnpoolmeanobjval(env, lp, &mean), 0);
    EXPECT_NEAR(mean, sum / count, 1e-6);
    ASSERT_EQ(VNTLgetsolnpoolsolnindex(env, lp, ("s" + std::to_string(count)).c_str(), &index), 0);
    EXPECT_EQ(index, count - 1);
    ASSERT_EQ(VNTLdelsolnpoolsolns(env, lp, 0, count - 1), 0);
    EXPECT_EQ(VNTLgetsolnpoolnumsolns(env, lp), 0);
    EXPECT_NEAR(objective(lp), 7615, 1e-6) << "the solution itself stays";
}

TEST_F(watched, ASearchTellsItsIncumbentAndKeepsItWhenStopped)
{
    VNTLPptr lp = problem_of_file("misc07.mps");
    columns = VNTLgetnumcols(env, lp);
    struct stop_at_solution {
        static int pause(VNTENVptr env, void *cbdata, uint64_t ticks, void *data)
        {
            watched &w = *static_cast<watched *>(data);
            watched::pause(env, cbdata, ticks, data);
            return w.seen.solcount > 0 && w.seen.phase == 1 ? 13 : 0;
        }
    };
    ASSERT_EQ(VNTEsetpausecallbackfunc(env, stop_at_solution::pause, this), 0);
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_STOPPED);
    EXPECT_EQ(seen.solcount, columns);
    EXPECT_LE(seen.bound, seen.incumbent + 1e-9);
    EXPECT_NEAR(objective(lp), seen.incumbent, 1e-6 * std::fabs(seen.incumbent));
}

TEST_F(watched, AnInjectedObjectiveCutsOffWhatIsNoBetter)
{
    VNTLPptr lp = problem_of_file("p0033.mps");
    inject = 3000; // the optimum is 3089
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_CUTOFF);
}

TEST_F(watched, OtherThreadsFindTheEnvironmentBusy)
{
    VNTLPptr lp = problem_of_file("25fv47.mps");
    struct held {
        std::atomic<bool> inside = false, go = false;
        static int pause(VNTENVptr, void *, uint64_t, void *data)
        {
            held &h = *static_cast<held *>(data);
            h.inside = true;
            h.inside.notify_all();
            h.go.wait(false);
            return 0;
        }
    } h;
    ASSERT_EQ(VNTEsetpausecallbackfunc(env, held::pause, &h), 0);
    std::thread solver([&] { EXPECT_EQ(VNTLlpopt(env, lp), 0); });
    h.inside.wait(false);
    VNTLPptr copy = lp;
    VNTENVptr same = env;
    EXPECT_EQ(VNTLlpopt(env, lp), VNTERR_SOLVING);
    EXPECT_EQ(VNTLfreeprob(env, &copy), VNTERR_SOLVING);
    EXPECT_EQ(VNTLcloseVANTO(&same), VNTERR_SOLVING);
    EXPECT_EQ(VNTLgetnumcols(env, lp), 0);
    h.go = true;
    h.go.notify_all();
    solver.join();
    EXPECT_EQ(VNTLgetnumcols(env, lp), 1571);
}
