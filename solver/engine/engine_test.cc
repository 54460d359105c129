#include "solver/engine/convex.h"
#include "solver/engine/incumbent.h"
#include "solver/engine/measure.h"
#include "solver/formats/files.h"
#include "solver/formats/lpformat.h"
#include "solver/formats/mps.h"
#include "solver/problem/reformulation.h"
#include "test/cross/random_model.h"
#include "test/folders.h"
#include "test/has.h"

#include <chrono>
#include <climits>
#include <cmath>
#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <malloc.h>
#include <thread>

namespace vnt {

namespace {

constexpr engine_method methods[] = {ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER};

// A problem, and its model as the engines take it.
struct problem : vntlp {
    problem() = default;
    explicit problem(const std::string &text) { m = lp_read(text, &remarks); }

    // As it is now.  It is good until the next time.
    const engine_model &model(bool discrete)
    {
        taken = std::make_shared<reformulation>(*this, discrete);
        return taken->engine();
    }
    std::string remarks;
    std::shared_ptr<reformulation> taken;
};

problem from_file(const std::string &name)
{
    problem p;
    std::string path = source_path("test/models/" + name);
    p.m = mps_read(file_contents(path.c_str(), nullptr, 0), &p.remarks);
    return p;
}

problem from_random(const random_model &r)
{
    problem p;
    p.m.type = VNT_PROB_MIP;
    p.m.sense = r.sense;
    p.m.offset = r.offset;
    for (const random_column &c : r.columns)
        p.m.append_cols({1, &c.cost, &c.lower, &c.upper, &c.type, nullptr}, nullptr);
    for (const random_row &row : r.rows) {
        bool below = row.upper<VNT_INFINITY, above = row.lower> - VNT_INFINITY;
        char sense = row.lower == row.upper ? 'E' : below && above ? 'R' : below ? 'L' : 'G';
        double range = row.upper - row.lower, rhs = sense == 'L' ? row.upper : row.lower;
        int i = p.m.numrows();
        p.m.append_rows({1, &rhs, &sense, &range, nullptr}, nullptr);
        for (size_t k = 0; k < row.index.size(); k++)
            p.m.a.set(i, row.index[k], row.value[k]);
    }
    return p;
}

// The two calls with hooks that record, and what a test does at a poll point.
struct solver {
    engine_params params = {.log_level = 2};
    std::function<void(const engine_progress &, engine_reply &)> on_poll;
    std::string logged;
    uint64_t polls = 0, last_ticks = 0;

    engine_hooks hooks()
    {
        last_ticks = 0;
        return {
            this,
            [](void *arg, const engine_progress *progress, engine_reply *reply) {
                solver &s = *static_cast<solver *>(arg);
                EXPECT_GT(progress->ticks, s.last_ticks);
                s.last_ticks = progress->ticks;
                s.polls++;
                if (s.on_poll) s.on_poll(*progress, *reply);
            },
            [](void *arg, int, const char *text) { static_cast<solver *>(arg)->logged += text; }};
    }
    engine_result lp(problem &p, engine_method method = ENGINE_DUAL, bool crossover = true)
    {
        engine_result r;
        EXPECT_EQ(engine_solve_lp(p.model(false), params, method, crossover, hooks(), &r), 0);
        return r;
    }
    engine_result mip(problem &p)
    {
        engine_result r;
        EXPECT_EQ(engine_solve_mip(p.model(true), params, hooks(), &r), 0);
        return r;
    }
};

void expect_mip(problem &p, const engine_result &r, double objective)
{
    const engine_model &m = p.model(true);
    ASSERT_EQ(r.status, VNT_STAT_OPTIMAL);
    EXPECT_NEAR(r.objective, objective, 1e-6 * (1 + std::fabs(objective)));
    EXPECT_EQ(r.bound, r.objective);
    EXPECT_EQ(engine_fraction(m, r.x.data()), 0);
    EXPECT_LT(engine_violation(m, r.x.data()), 1e-6);
    EXPECT_EQ(r.solutions.back(), r.x);
    EXPECT_EQ(r.nodes_left, 0);
}

// The same problem to be minimised and to be maximised.
problem turned(problem p, int sense)
{
    if (p.m.sense == sense) return p;
    p.m.sense = sense;
    for (double &c : p.m.objective)
        c = -c;
    return p;
}

TEST(EngineLp, TheBarrierAloneIsNearAndHasNoBasis)
{
    problem p("max\n 3 x + 2 y\nst\n x + y <= 4\n x + 3 y <= 9\nbounds\n x <= 3\nend\n");
    engine_result r = solver().lp(p, ENGINE_BARRIER, false);
    EXPECT_NEAR(r.objective, 11, 1e-3);
    EXPECT_TRUE(r.cstat.empty() && r.rstat.empty());
    r = solver().lp(p, ENGINE_BARRIER);
    EXPECT_EQ(r.objective, 11);
    EXPECT_EQ(r.bound, r.objective);
}

TEST(EngineLp, LimitsAndStopEndWithTheirStatus)
{
    problem p = from_file("israel.mps");
    solver limited;
    limited.params.iteration_limit = 20;
    engine_result r = limited.lp(p);
    EXPECT_EQ(r.status, VNT_STAT_ITERATION_LIMIT);
    EXPECT_EQ(r.iterations, 20);
    for (engine_method method : methods) {
        solver stopped;
        stopped.on_poll = [](const engine_progress &progress, engine_reply &reply) {
            reply.stop = progress.ticks >= 12;
        };
        EXPECT_EQ(stopped.lp(p, method).status, VNT_STAT_STOPPED);
        EXPECT_EQ(stopped.polls, 12u) << "nothing is asked after a stop";
    }
}

// 13 at (2, 0, 1).
const char *const three_integers =
    "max\n 5 a + 4 b + 3 c\nst\n 2 a + 3 b + c <= 5\n 4 a + b + 2 c <= 11\n"
    " 3 a + 4 b + 2 c <= 8\nbounds\n a <= 10\n b <= 10\n c <= 10\ngeneral\n a\n b\n c\nend\n";

// The stub engine: a solve that aborts at a poll point, as one of the libraries would.
struct aborting {
    int aborts = 0; // how many attempts do
    int attempts = 0;
    std::vector<bool> again;
    std::string logged;

    int solve(const engine_model &m, engine_result *r)
    {
        engine_params params;
        engine_hooks hooks = {this, nullptr, [](void *arg, int, const char *text) {
                                  static_cast<aborting *>(arg)->logged += text;
                              }};
        engine_poll poll(params, hooks, m.sense);
        return engine_attempts(m, poll, r, [&](bool safer) {
            again.push_back(safer);
            if (attempts == 0) r->solutions.push_back({1, 0, 2});
            if (attempts++ < aborts) abort();
            r->status = VNT_STAT_OPTIMAL;
        });
    }
};

TEST(EngineGuard, AnAbortIsASecondAttemptAndThenAnErrorThatKeepsTheIncumbent)
{
    struct sigaction before, after;
    sigaction(SIGABRT, nullptr, &before);
    problem p(three_integers);
    for (int round = 0; round < 3; round++) {
        aborting once, twice;
        once.aborts = 1;
        twice.aborts = 2;
        engine_result r;
        EXPECT_EQ(once.solve(p.model(true), &r), 0);
        EXPECT_EQ(r.status, VNT_STAT_OPTIMAL);
        EXPECT_EQ(once.again, (std::vector<bool>{false, true}));
        EXPECT_TRUE(has(once.logged, "aborted in "));
        r = engine_result();
        EXPECT_EQ(twice.solve(p.model(true), &r), VNTERR_ENGINE);
        EXPECT_EQ(r.x, (std::vector<double>{1, 0, 2}));
        EXPECT_EQ(r.objective, 11);
    }
    sigaction(SIGABRT, nullptr, &after);
    EXPECT_EQ(after.sa_handler, before.sa_handler);
}

TEST(EngineGuard, OtherAbortsGoTheirOldWay)
{
    problem p(three_integers);
    auto inside = [&](const std::function<void()> &act) {
        solver s;
        s.on_poll = [&](const engine_progress &, engine_reply &) { act(); };
        s.mip(p);
    };
    EXPECT_EXIT(inside([] { abort(); }), testing::KilledBySignal(SIGABRT), "") << "a callback's";
    EXPECT_EXIT(inside([] { std::thread(abort).join(); }), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(inside([] {
                    kill(getpid(), SIGABRT);
                    pause();
                }),
                testing::KilledBySignal(SIGABRT), "");
}

TEST(EngineQp, TheLookAtTheCurvatureCanBeEnded)
{
    constexpr int n = 200;
    std::vector<int64_t> begin = {0};
    std::vector<int> index;
    std::vector<double> value; // min(i, j), which is positive definite
    for (int j = 0; j < n; j++) {
        for (int i = 0; i < n; i++) {
            index.push_back(i);
            value.push_back(std::min(i, j) + 1);
        }
        begin.push_back(static_cast<int64_t>(index.size()));
    }
    engine_quadratic q = {begin.data(), index.data(), value.data()};
    int asked = 0, last = INT_MAX;
    auto ended = [&] { return ++asked >= last; };
    EXPECT_TRUE(engine_nonconvex(q, n, VNT_MIN, ended).empty());
    EXPECT_GE(asked, n);
    value.back() -= 2;
    EXPECT_FALSE(engine_nonconvex(q, n, VNT_MIN, ended).empty());
    value.back() += 2;
    asked = 0;
    last = 10;
    EXPECT_TRUE(engine_nonconvex(q, n, VNT_MIN, ended).empty());
    EXPECT_LE(asked, 13);
}

// The last four were once answered wrongly, or ended the process, for the reason beside them.
TEST(EngineMip, HardModelsAreAnsweredRightlyWithAndWithoutPresolve)
{
    constexpr int infeasible = VNT_STAT_INFEASIBLE, unbounded = VNT_STAT_UNBOUNDED;
    struct {
        const char *what, *text;
        int status;
        double objective;
    } const rows[] = {
        {"no integer point, though a relaxation",
         "min\n x + y\nst\n 2 x + 2 y = 3\nbounds\n x <= 10\n y <= 10\ngeneral\n x y\nend\n",
         infeasible, 0},
        {"no relaxation", "min\n x\nst\n x >= 30\nbounds\n x <= 10\ngeneral\n x\nend\n", infeasible,
         0},
        {"no integer between the bounds of a column",
         "min\n x\nst\n x <= 1\nbounds\n 0.3 <= x <= 0.7\ngeneral\n x\nend\n", infeasible, 0},
        {"a relaxation without limit, and no integer point",
         "max\n x + y\nst\n x - y + z <= 3\n 2 w = 1\ngeneral\n x\nbinary\n z\n w\nend\n",
         infeasible, 0},
        {"no limit", "max\n x + y\nst\n x - y + z <= 3\ngeneral\n x\nbinary\n z\nend\n", unbounded,
         0},
        {"no columns", "min\n 5\nend\n", VNT_STAT_OPTIMAL, 5},
        {"kept work regions: an abort in crunch",
         "min\n 2.1752 b - x\nst\n 4 x >= -11.9879\n -10.8936 b + 0.0184 x <= 0.02\n"
         "bounds\n -1 <= x <= 2\ngeneral\n x\nbinary\n b\nend\n",
         VNT_STAT_OPTIMAL, -1},
        {"a continuous column declared integer",
         "min\n - b - 4 p - q + s + 3.5\nst\n -4 o + 5 p + 4 q + 2 t - 2 s - 5 u <= 21\n"
         "bounds\n -6 <= o <= -3\n 0 <= p <= 19\n q = 0\n -16 <= t <= 12\n -6 <= s <= 7\n"
         " u <= 9\ngeneral\n q\n t\n s\n u\nbinary\n b\nend\n",
         VNT_STAT_OPTIMAL, -68.7},
        {"probing without finite bounds",
         "max\n -0.4 x - 4.8 y\nst\n -1.93 x - 3.93 y = 13.72\nbounds\n x free\n y free\n"
         "general\n x\n y\nend\n",
         unbounded, 0},
        {"integer columns with equal costs, merged",
         "max\n 2 a + b + 4 c - d + 4 e - 1\nst\n 2 b + c + d - e >= 3\n"
         " 3 a - 3 b - c + 2 d - e >= -3\n -2 a + 3 c - d - e = 0\nbounds\n 1 <= a <= 3\n b <= 1\n"
         " -inf <= c <= 1\n 1 <= d <= 3\n e >= -2\ngeneral\n a\n b\n d\nend\n",
         VNT_STAT_OPTIMAL, 5},
    };
    for (const auto &row : rows)
        for (int presolve : {0, 1}) {
            SCOPED_TRACE(testing::Message() << row.what << ", presolve " << presolve);
            problem p(row.text);
            solver s;
            s.params.presolve = presolve;
            engine_result r = s.mip(p);
            ASSERT_EQ(r.status, row.status);
            if (row.status == VNT_STAT_OPTIMAL) expect_mip(p, r, row.objective);
            if (row.status != unbounded) continue;
            EXPECT_TRUE(engine_proves_unbounded(p.model(true), r.ray));
            EXPECT_LT(engine_violation(p.model(true), r.x.data()), 1e-6);
        }
}

TEST(EngineMip, ACutoffThatNothingBeatsIsSaidToBeThat)
{
    for (int sense : {VNT_MIN, VNT_MAX}) {
        problem p = turned(from_file("p0033.mps"), sense); // 3089
        for (double cutoff : {3089.0, 3000.0}) {
            solver injected;
            injected.on_poll = [&](const engine_progress &progress, engine_reply &reply) {
                reply.inject = progress.ticks == 2;
                reply.cutoff = sense * cutoff;
            };
            engine_result r = injected.mip(p);
            EXPECT_EQ(r.status, VNT_STAT_CUTOFF);
            EXPECT_EQ(r.bound, sense * cutoff);
            EXPECT_TRUE(r.solutions.empty());
        }
    }
    problem p = from_file("stein27.mps"); // 18
    solver search;                        // has an incumbent when the cutoff comes
    search.on_poll = [](const engine_progress &progress, engine_reply &reply) {
        reply.inject = progress.nodes >= 3 && progress.solution != nullptr;
        reply.cutoff = 17;
    };
    engine_result r = search.mip(p);
    EXPECT_EQ(r.status, VNT_STAT_CUTOFF);
    EXPECT_EQ(r.bound, 17);
    EXPECT_GE(r.objective, 18);
}

TEST(EngineMip, ACutoffBetweenTwoStepsOfTheObjectiveLeavesTheBetterOne)
{
    for (double scale : {1.0, 0.25, 1.0 / 3}) // steps of the objective, and none that is seen
        for (int sense : {VNT_MIN, VNT_MAX}) {
            problem p = turned(problem(three_integers), sense);
            for (double &c : p.m.objective)
                c *= scale;
            p.m.offset = 0.5;
            double best = 0.5 - sense * 13 * scale;
            solver s;
            s.params.cutoff = best + sense * 0.01 * scale;
            expect_mip(p, s.mip(p), best);
            for (double cutoff : {best, best - sense * 0.01 * scale}) {
                s.params.cutoff = cutoff;
                EXPECT_EQ(s.mip(p).status, VNT_STAT_CUTOFF);
            }
        }
}

TEST(EngineMip, ThePoolKeepsTheLastHundred)
{
    problem p("max\n a\nst\n r: a <= 200\ngeneral\n a\nend\n");
    const engine_model &m = p.model(true);
    engine_result many;
    engine_params params;
    engine_hooks hooks = {};
    engine_poll poll(params, hooks, m.sense);
    engine_incumbent best(m, params, poll, many);
    for (double a = 1; a <= 150; a++)
        EXPECT_TRUE(best.offer({a}));
    EXPECT_EQ(many.solutions.size(), 100u);
    EXPECT_EQ(many.solutions.back()[0], 150);
    EXPECT_EQ(*poll.seen.solution, 150);
    EXPECT_EQ(poll.seen.solutions, 150);
}

TEST(EngineMip, AStartIsTheFirstIncumbentAndAPartOfOneIsCompleted)
{
    problem p(three_integers);
    solver s;
    s.params.solution_limit = 1;
    p.start = {1, 0, 2}; // 11
    EXPECT_EQ(s.mip(p).x, p.start);
    p.start = {1, NAN, NAN}; // completes to 12 with b = 1 and c = 1, or less
    engine_result r = s.mip(p);
    EXPECT_EQ(r.status, VNT_STAT_SOLUTION_LIMIT);
    EXPECT_EQ(r.x[0], 1);
    p.start = {9, 9, 9}; // infeasible: of no use, no harm
    expect_mip(p, solver().mip(p), 13);
}

TEST(EngineMip, LimitsEndWithTheirStatusAndTimeHeldInThePollDoesNotCount)
{
    problem p = from_file("p0201.mps");
    problem small(
        "max 5 a + 4 b + 3 c + 7 d\nst 2 a + 3 b + c + 4 d <= 5\n4 a + b + 2 c + 3 d <= 7\n"
        "binaries a b c d\nend\n");
    solver nodes;
    nodes.params.node_limit = 5;
    engine_result r = nodes.mip(p);
    EXPECT_EQ(r.status, VNT_STAT_NODE_LIMIT);
    EXPECT_LE(r.nodes, 6);
    EXPECT_GT(r.nodes_left, 0);
    solver gap;
    gap.params.relative_gap = 0.9;
    r = gap.mip(p);
    EXPECT_EQ(r.status, VNT_STAT_OPTIMAL_TOLERANCE);
    EXPECT_LT(r.bound, r.objective);
    solver time;
    time.params.time_limit = 0;
    EXPECT_EQ(time.mip(p).status, VNT_STAT_TIME_LIMIT);
    time.params.time_limit = 1;
    time.on_poll = [](const engine_progress &progress, engine_reply &) {
        if (progress.ticks == 2) std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    };
    expect_mip(small, time.mip(small), 10);
    EXPECT_GT(time.last_ticks, 2u);
}

TEST(EngineMip, TheNodeLimitHoldsWhereIntegersHaveNoBoundsAndForNodesThatAreFinishedOffInOneGo)
{
    problem wide = from_random(random_model_make(2726)), many = from_file("stein27.mps");
    solver s;
    s.params.presolve = s.params.cuts = 0;
    s.params.node_limit = 2000;
    engine_result r = s.mip(wide);
    EXPECT_EQ(r.status, VNT_STAT_UNBOUNDED);
    EXPECT_LT(r.ticks, 1000000u);
    s.params.node_limit = 900;
    r = s.mip(many);
    EXPECT_EQ(r.status, VNT_STAT_NODE_LIMIT);
    EXPECT_LE(r.nodes, 901);
}

TEST(EngineMip, ProgressIsOrderedAndSignalsAndOutputAreLeftAlone)
{
    problem p = from_file("p0201.mps");
    struct sigaction before;
    sigaction(SIGINT, nullptr, &before);
    solver s;
    double bound = -VNT_INFINITY;
    int64_t nodes = 0, iterations = 0;
    bool changed = false;
    s.on_poll = [&](const engine_progress &progress, engine_reply &) {
        struct sigaction now;
        sigaction(SIGINT, nullptr, &now);
        changed = changed || now.sa_handler != before.sa_handler;
        EXPECT_GE(progress.nodes, nodes);
        EXPECT_GE(progress.iterations, iterations);
        EXPECT_GE(progress.bound, bound);
        EXPECT_TRUE(progress.solution == nullptr || progress.bound <= progress.incumbent);
        nodes = progress.nodes;
        iterations = progress.iterations;
        bound = progress.bound;
    };
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    engine_result r = s.mip(p);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    expect_mip(p, r, 7615);
    EXPECT_FALSE(changed);
    EXPECT_TRUE(has(s.logged, "* incumbent 7615 "));
}

// Cuts on knapsack and flow covers lost the best solutions of these two.
TEST(EngineMip, CutsLoseNoSolution)
{
    problem knapsack = from_random(random_model_make(3812));
    problem charge = from_random(random_model_make(301564));
    solver s;
    EXPECT_NEAR(s.mip(knapsack).objective, 320, 1e-6);
    s.params.presolve = s.params.heuristics = 0;
    EXPECT_NEAR(s.mip(charge).objective, 602, 1e-6);
}

// A cutoff that comes between two nodes aborted the process in models with many cuts.
TEST(EngineMip, ACutoffMayComeAtAnyNode)
{
    for (unsigned seed = 4; seed < 150; seed += 10) { // lot sizing
        SCOPED_TRACE(seed);
        problem p = from_random(random_model_make(seed));
        engine_result expected = solver().mip(p);
        for (int every : {1, 3}) {
            solver injected;
            double known = p.m.sense * VNT_INFINITY;
            injected.on_poll = [&](const engine_progress &progress, engine_reply &reply) {
                reply.inject = progress.nodes > 0 && progress.nodes % every == 0;
                double worse = p.m.sense * (2 + 30.0 / static_cast<double>(1 + progress.nodes));
                reply.cutoff = known = expected.objective + worse;
            };
            engine_result r = injected.mip(p);
            if (expected.status != VNT_STAT_OPTIMAL || r.status == VNT_STAT_CUTOFF) {
                EXPECT_EQ(r.status, expected.status) << known;
                continue;
            }
            EXPECT_NEAR(r.objective, expected.objective, 1e-6 * (1 + std::fabs(r.objective)));
        }
    }
}

// Every second row with one side becomes a lazy constraint.
problem lazily(const problem &p)
{
    problem lazy;
    lazy.m = p.m;
    std::vector<int> place;
    int left = 0;
    matrix_view rows = p.m.a.by_row();
    for (int i = 0; i < p.m.numrows(); i++) {
        bool goes = i % 2 == 0 && p.m.row_sense[i] != 'R';
        place.push_back(goes ? -1 : left++);
        if (!goes) continue;
        lazy.m.lazies.push_back({p.m.row_names.at(i),
                                 p.m.row_sense[i],
                                 p.m.rhs[i],
                                 {rows.index + rows.begin[i], rows.index + rows.begin[i + 1]},
                                 {rows.value + rows.begin[i], rows.value + rows.begin[i + 1]}});
    }
    lazy.m.keep_rows(place, left);
    return lazy;
}

// Small models with and without what makes a search faster; the first of all kinds also with lazy
// rows, where the reported bound only improves.
TEST(EngineMip, RandomModelsAreAnsweredAlikeWhateverIsSwitchedOn)
{
    int waited = 0;
    for (unsigned seed = 1; seed < 2000; seed++) {
        random_model r = random_model_make(seed);
        bool indicators = std::any_of(r.rows.begin(), r.rows.end(),
                                      [](const random_row &row) { return row.binary >= 0; });
        bool small = seed % random_kinds == 1;
        if (indicators || !r.sets.empty() || !r.discrete() || (seed >= 50 && !small)) continue;
        SCOPED_TRACE(seed);
        problem p = from_random(r), lazy = lazily(p);
        solver bare, watched;
        bare.params.presolve = bare.params.cuts = bare.params.heuristics = 0;
        double best = -VNT_INFINITY;
        watched.on_poll = [&](const engine_progress &progress, engine_reply &) {
            double bound = lazy.m.sense * progress.bound;
            EXPECT_GE(bound, best - 1e-6 * std::max(1.0, std::fabs(best)));
            best = std::max(best, bound);
        };
        engine_result expected = solver().mip(p);
        std::vector<engine_result> others;
        if (small) others.push_back(bare.mip(p));
        if (seed < 50) others.push_back(watched.mip(lazy));
        waited += seed < 50 && !lazy.m.lazies.empty();
        for (engine_result &got : others) {
            for (engine_result *end : {&got, &expected})
                if (end->status == VNT_STAT_OPTIMAL_TOLERANCE) end->status = VNT_STAT_OPTIMAL;
            EXPECT_EQ(got.status, expected.status);
            if (expected.status != VNT_STAT_OPTIMAL || got.x.empty()) continue;
            EXPECT_NEAR(got.objective, expected.objective, 1e-5 * (1 + std::fabs(got.objective)));
            for (engine_result *end : {&got, &expected}) {
                end->x.resize(r.columns.size()); // the others are of the reformulation
                EXPECT_EQ(point_fault(r, end->x, 1e-5), "");
            }
        }
    }
    EXPECT_GT(waited, 20);
}

TEST(EngineMip, ManySolvesLeaveTheHeapAsItWas)
{
    problem p(three_integers);
    auto used = [&](int cycles) {
        for (int i = 0; i < cycles; i++) {
            solver s;
            s.lp(p);
            s.mip(p);
        }
        return mallinfo2().uordblks;
    };
    size_t before = used(20);
    EXPECT_LT(used(200), before + 20000) << "a leak of 100 bytes a solve";
}

// A reduced cost of -4e-5 on a free column: "optimal".
TEST(EngineLp, ASmallReducedCostOfAFreeColumnCounts)
{
    problem p("min\n - x\nst\n -2912.9121 x + 0.122 y = 2913.2781\n"
              " -0.3612 x - 0.0023 y <= 1924.0504\nbounds\n x free\n y free\nend\n");
    for (engine_method method : methods)
        for (int presolve : {0, 1}) {
            solver s;
            s.params.presolve = presolve;
            engine_result r = s.lp(p, method);
            EXPECT_EQ(r.status, VNT_STAT_UNBOUNDED);
            EXPECT_TRUE(engine_proves_unbounded(p.model(false), r.ray));
        }
}

} // namespace

} // namespace vnt
