#include "solver/engine.h"
#include "solver/enginemodel.h"

#include <CoinMpsIO.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <thread>

// Under a leak checker: what the engines themselves forget, in presolve and at a stop.
extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions()
{
    return "leak:implied_free_action\nleak:ClpPredictorCorrector\n";
}

namespace {

constexpr double inf = 1e75;

// A model, written row by row or read from a file.
struct problem {
    struct entry {
        int column;
        double value;
    };

    int col(double objective, double lower, double upper, char type = 'C')
    {
        obj.push_back(objective);
        collower.push_back(lower);
        colupper.push_back(upper);
        ctype += type;
        return static_cast<int>(obj.size()) - 1;
    }
    void row(double lower, double upper, const std::vector<entry> &entries)
    {
        rowlower.push_back(lower);
        rowupper.push_back(upper);
        rows.push_back(entries);
    }
    const engine_model &model()
    {
        if (!fromfile) compile();
        return arrays();
    }
    void compile()
    {
        begin.assign(1, 0);
        index.clear();
        value.clear();
        for (size_t j = 0; j < obj.size(); j++) {
            for (size_t i = 0; i < rows.size(); i++)
                for (const entry &e : rows[i])
                    if (e.column == static_cast<int>(j)) {
                        index.push_back(static_cast<int>(i));
                        value.push_back(e.value);
                    }
            begin.push_back(static_cast<int64_t>(index.size()));
        }
    }
    const engine_model &arrays()
    {
        m.numrows = static_cast<int>(rowlower.size());
        m.numcols = static_cast<int>(obj.size());
        m.begin = begin.data();
        m.index = index.data();
        m.value = value.data();
        m.collower = collower.data();
        m.colupper = colupper.data();
        m.rowlower = rowlower.data();
        m.rowupper = rowupper.data();
        m.objective = obj.data();
        m.ctype = ctype.find_first_not_of('C') == std::string::npos ? nullptr : ctype.data();
        return m;
    }

    engine_model m = {.sense = VNT_MIN};
    std::vector<double> obj, collower, colupper, rowlower, rowupper, value;
    std::vector<std::vector<entry>> rows;
    std::vector<int64_t> begin;
    std::vector<int> index;
    std::string ctype;
    bool fromfile = false;
};

std::string modelfile(const char *name)
{
    return std::string(VNT_SOURCE_DIR "/test/models/") + name;
}

void readmps(const std::string &path, problem *p)
{
    CoinMpsIO io;
    io.messageHandler()->setLogLevel(0);
    ASSERT_EQ(io.readMps(path.c_str(), ""), 0) << path;
    const CoinPackedMatrix &a = *io.getMatrixByCol();
    for (int j = 0; j < io.getNumCols(); j++) {
        p->col(io.getObjCoefficients()[j], io.getColLower()[j], io.getColUpper()[j],
               io.isInteger(j) ? 'I' : 'C');
        p->begin.push_back(static_cast<int64_t>(p->index.size()));
        for (int k = a.getVectorFirst(j); k < a.getVectorLast(j); k++) {
            p->index.push_back(a.getIndices()[k]);
            p->value.push_back(a.getElements()[k]);
        }
    }
    p->begin.push_back(static_cast<int64_t>(p->index.size()));
    p->rowlower.assign(io.getRowLower(), io.getRowLower() + io.getNumRows());
    p->rowupper.assign(io.getRowUpper(), io.getRowUpper() + io.getNumRows());
    p->m.offset = -io.objectiveOffset();
    p->fromfile = true;
    p->arrays();
}

struct file_problem : problem {
    explicit file_problem(const char *name) { readmps(modelfile(name), this); }
};

// The two calls with hooks that record, and what a test does at a poll point.
struct solver {
    engine_params params = {.loglevel = 2};
    std::function<void(const engine_progress &, engine_reply &)> onpoll;
    std::string logged;
    uint64_t polls = 0, lastticks = 0;

    engine_hooks hooks()
    {
        return {
            this,
            [](void *arg, const engine_progress *progress, engine_reply *reply) {
                solver &s = *static_cast<solver *>(arg);
                EXPECT_GT(progress->ticks, s.lastticks);
                s.lastticks = progress->ticks;
                s.polls++;
                if (s.onpoll) s.onpoll(*progress, *reply);
            },
            [](void *arg, int, const char *text) { static_cast<solver *>(arg)->logged += text; }};
    }
    engine_result lp(problem &p, engine_method method = ENGINE_DUAL, bool crossover = true)
    {
        engine_result r;
        engine_hooks h = hooks();
        lastticks = 0;
        EXPECT_EQ(engine_solvelp(p.model(), params, method, crossover, h, &r), 0);
        return r;
    }
    engine_result mip(problem &p)
    {
        engine_result r;
        engine_hooks h = hooks();
        lastticks = 0;
        EXPECT_EQ(engine_solvemip(p.model(), params, h, &r), 0);
        return r;
    }
};

// Feasible on both sides and with equal values: optimal, whoever computed it.
void expectoptimal(problem &p, const engine_result &r, double objective)
{
    const engine_model &m = p.model();
    ASSERT_EQ(r.status, VNT_STAT_OPTIMAL);
    EXPECT_NEAR(r.objective, objective, 1e-7 * (1 + std::fabs(objective)));
    EXPECT_EQ(r.bound, r.objective);
    EXPECT_LT(engine_violation(m, r.x.data()), 1e-6);
    EXPECT_LT(engine_dualviolation(m, r), 1e-5);
    std::vector<double> dj = engine_reducedcosts(m, m.objective, r.pi.data());
    for (int j = 0; j < m.numcols; j++)
        EXPECT_NEAR(dj[j], r.dj[j], 1e-6) << j;
    for (int i = 0; i < m.numrows; i++) {
        double side = !engine_isinf(m.rowupper[i])   ? m.rowupper[i]
                      : !engine_isinf(m.rowlower[i]) ? m.rowlower[i]
                                                     : 0;
        EXPECT_EQ(r.slack[i], side - r.activity[i]) << i;
    }
}

// max 3x + 2y, x + y <= 4, x + 3y <= 9, 0 <= x <= 3: 11 at (3, 1).
problem twocolumns(int sense)
{
    problem p;
    p.m.sense = sense;
    int x = p.col(sense == VNT_MAX ? 3 : -3, 0, 3), y = p.col(sense == VNT_MAX ? 2 : -2, 0, inf);
    p.row(-inf, 4, {{x, 1}, {y, 1}});
    p.row(-inf, 9, {{x, 1}, {y, 3}});
    return p;
}

TEST(EngineLp, EveryMethodFindsTheSameOptimumInBothSenses)
{
    for (int sense : {VNT_MIN, VNT_MAX})
        for (engine_method method : {ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER}) {
            SCOPED_TRACE(testing::Message() << "sense " << sense << " method " << method);
            problem p = twocolumns(sense);
            p.m.offset = 100;
            engine_result r = solver().lp(p, method);
            expectoptimal(p, r, 100 - 11 * sense);
            EXPECT_DOUBLE_EQ(r.x[0], 3);
            EXPECT_DOUBLE_EQ(r.x[1], 1);
            EXPECT_DOUBLE_EQ(r.pi[0], -2 * sense);
            EXPECT_DOUBLE_EQ(r.dj[0], -1 * sense);
            EXPECT_EQ(r.cstat, (std::vector<int>{VNT_BASIS_UPPER, VNT_BASIS_BASIC}));
            EXPECT_EQ(r.rstat, (std::vector<int>{VNT_BASIS_LOWER, VNT_BASIS_BASIC}));
        }
}

TEST(EngineLp, PublicModelsGiveTheirPublishedOptima)
{
    const std::pair<const char *, double> models[] = {{"afiro.mps", -464.7531428571},
                                                      {"israel.mps", -896644.82186}};
    for (auto [name, objective] : models)
        for (engine_method method : {ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER})
            for (int presolve : {0, 1}) {
                SCOPED_TRACE(testing::Message() << name << method << presolve);
                file_problem p(name);
                solver s;
                s.params.presolve = presolve;
                engine_result r = s.lp(p, method);
                expectoptimal(p, r, objective);
                EXPECT_EQ(std::count(r.cstat.begin(), r.cstat.end(), VNT_BASIS_BASIC) +
                              std::count(r.rstat.begin(), r.rstat.end(), VNT_BASIS_BASIC),
                          p.m.numrows);
            }
}

TEST(EngineLp, BarrierWithoutCrossoverHasNoBasis)
{
    file_problem p("afiro.mps");
    engine_result r = solver().lp(p, ENGINE_BARRIER, false);
    EXPECT_EQ(r.status, VNT_STAT_OPTIMAL);
    EXPECT_NEAR(r.objective, -464.7531428571, 1e-3);
    EXPECT_TRUE(r.cstat.empty() && r.rstat.empty());
    EXPECT_GT(r.barrieriterations, 0);
}

TEST(EngineLp, ABasisThatIsOptimalNeedsNoIteration)
{
    file_problem p("israel.mps");
    engine_result first = solver().lp(p);
    p.m.cstat = first.cstat.data();
    p.m.rstat = first.rstat.data();
    for (engine_method method : {ENGINE_PRIMAL, ENGINE_DUAL}) {
        engine_result again = solver().lp(p, method);
        EXPECT_EQ(again.status, VNT_STAT_OPTIMAL);
        EXPECT_LE(again.iterations, 1);
        EXPECT_EQ(again.cstat, first.cstat);
    }
    std::vector<int> nonsense(p.m.numcols, VNT_BASIS_BASIC); // more than there are rows
    p.m.cstat = nonsense.data();
    expectoptimal(p, solver().lp(p), -896644.82186);
}

TEST(EngineLp, InfeasibleProblemsComeWithAProof)
{
    file_problem woodinfe("woodinfe.mps");
    problem rows; // x + y >= 5 and <= 3 in two rows
    rows.col(1, 0, inf);
    rows.col(1, 0, inf);
    rows.row(5, inf, {{0, 1}, {1, 1}});
    rows.row(-inf, 3, {{0, 2}, {1, 2}});
    rows.model();
    for (problem *p : std::initializer_list<problem *>{&woodinfe, &rows})
        for (engine_method method : {ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER}) {
            engine_result r = solver().lp(*p, method);
            EXPECT_EQ(r.status, VNT_STAT_INFEASIBLE);
            ASSERT_EQ(r.farkas.size(), p->rowlower.size());
            EXPECT_TRUE(engine_provesinfeasible(p->m, r.farkas));
        }
    rows.collower[0] = 3;
    rows.colupper[0] = 2;
    EXPECT_EQ(solver().lp(rows).status, VNT_STAT_INFEASIBLE);
}

TEST(EngineLp, UnboundedProblemsComeWithARay)
{
    problem free; // max x + y with x - y = 1, both free
    free.m.sense = VNT_MAX;
    free.col(1, -inf, inf);
    free.col(1, -inf, inf);
    free.row(1, 1, {{0, 1}, {1, -1}});
    problem cone; // min -x - y, x - y <= 2, y - x <= 2
    cone.col(-1, 0, inf);
    cone.col(-1, 0, inf);
    cone.row(-inf, 2, {{0, 1}, {1, -1}});
    cone.row(-inf, 2, {{0, -1}, {1, 1}});
    for (problem *p : {&free, &cone})
        for (engine_method method : {ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER})
            for (int presolve : {0, 1}) {
                SCOPED_TRACE(testing::Message() << method << presolve);
                solver s;
                s.params.presolve = presolve;
                engine_result r = s.lp(*p, method);
                EXPECT_EQ(r.status, VNT_STAT_UNBOUNDED);
                ASSERT_EQ(r.ray.size(), 2u);
                EXPECT_TRUE(engine_provesunbounded(p->m, r.ray));
                EXPECT_TRUE(r.primalfeasible);
            }
}

TEST(EngineLp, InfeasibleAndUnboundedAtOnceIsInfeasible)
{
    problem p; // min -x, x - y >= 0, and z >= 2, z <= 1 in rows
    int x = p.col(-1, 0, inf), y = p.col(0, 0, inf), z = p.col(0, 0, inf);
    p.row(0, inf, {{x, 1}, {y, -1}});
    p.row(2, inf, {{z, 1}});
    p.row(-inf, 1, {{z, 1}, {y, 1}});
    for (engine_method method : {ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER})
        EXPECT_EQ(solver().lp(p, method).status, VNT_STAT_INFEASIBLE);
}

TEST(EngineLp, ModelsWithoutRowsColumnsOrNonzerosAreSolved)
{
    problem empty;
    expectoptimal(empty, solver().lp(empty), 0);

    problem norows;
    norows.col(2, 1, 5);
    norows.col(-1, 0, 7);
    norows.col(0, -inf, inf);
    engine_result r = solver().lp(norows);
    expectoptimal(norows, r, -5);
    EXPECT_EQ(r.cstat, (std::vector<int>{VNT_BASIS_LOWER, VNT_BASIS_UPPER, VNT_BASIS_FREE}));
    norows.col(1, -inf, 0);
    r = solver().lp(norows);
    EXPECT_EQ(r.status, VNT_STAT_UNBOUNDED);
    EXPECT_TRUE(engine_provesunbounded(norows.m, r.ray));

    problem norowentries;
    norowentries.col(1, 0, 1);
    norowentries.row(-1, 1, {});
    expectoptimal(norowentries, solver().lp(norowentries), 0);
    norowentries.rowlower[0] = 0.5;
    EXPECT_EQ(solver().lp(norowentries).status, VNT_STAT_INFEASIBLE);

    problem odd = twocolumns(VNT_MIN); // an empty column, an empty row, a fixed column, a free row
    odd.col(1, 2, 9);
    odd.col(0, 4, 4);
    odd.row(-inf, 3, {});
    odd.row(-inf, inf, {{0, 1}, {3, 1}});
    for (engine_method method : {ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER})
        expectoptimal(odd, solver().lp(odd, method), -9);
}

TEST(EngineLp, LimitsAndStopEndWithTheirStatus)
{
    file_problem p("israel.mps");
    solver s;
    s.params.iterationlimit = 20;
    engine_result r = s.lp(p);
    EXPECT_EQ(r.status, VNT_STAT_ITERATION_LIMIT);
    EXPECT_EQ(r.iterations, 20);
    EXPECT_EQ(r.x.size(), static_cast<size_t>(p.m.numcols));

    solver late;
    late.params.timelimit = 0;
    EXPECT_EQ(late.lp(p).status, VNT_STAT_TIME_LIMIT);

    for (engine_method method : {ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER}) {
        solver stopped;
        stopped.onpoll = [](const engine_progress &progress, engine_reply &reply) {
            reply.stop = progress.ticks >= 12;
        };
        EXPECT_EQ(stopped.lp(p, method).status, VNT_STAT_STOPPED);
        EXPECT_EQ(stopped.polls, 12u) << "nothing is asked after a stop";
    }
}

// The bytes of all vectors, for comparing runs.
std::string bits(const engine_result &r)
{
    std::string all;
    for (const std::vector<double> *v : {&r.x, &r.pi, &r.dj, &r.slack})
        all.append(reinterpret_cast<const char *>(v->data()), v->size() * sizeof(double));
    for (const std::vector<double> &v : r.solutions)
        all.append(reinterpret_cast<const char *>(v.data()), v.size() * sizeof(double));
    return all + " " + std::to_string(r.ticks) + " " + std::to_string(r.iterations) + " " +
           std::to_string(r.nodes);
}

TEST(EngineLp, RepeatedSolvesGiveTheSameBitsAndWorkCount)
{
    file_problem p("israel.mps");
    for (engine_method method : {ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER})
        EXPECT_EQ(bits(solver().lp(p, method)), bits(solver().lp(p, method)));
}

// max 5a + 4b + 3c, 2a + 3b + c <= 5, 4a + b + 2c <= 11, 3a + 4b + 2c <= 8, all integer up to 10:
// 13 at (2, 0, 1).
problem threeintegers(int sense)
{
    problem p;
    p.m.sense = sense;
    for (double c : {5, 4, 3})
        p.col(-sense * c, 0, 10, 'I');
    p.row(-inf, 5, {{0, 2}, {1, 3}, {2, 1}});
    p.row(-inf, 11, {{0, 4}, {1, 1}, {2, 2}});
    p.row(-inf, 8, {{0, 3}, {1, 4}, {2, 2}});
    return p;
}

void expectmip(problem &p, const engine_result &r, double objective)
{
    ASSERT_EQ(r.status, VNT_STAT_OPTIMAL);
    EXPECT_NEAR(r.objective, objective, 1e-6 * (1 + std::fabs(objective)));
    EXPECT_EQ(r.bound, r.objective);
    EXPECT_EQ(engine_fraction(p.m, r.x.data()), 0);
    EXPECT_LT(engine_violation(p.m, r.x.data()), 1e-6);
    EXPECT_EQ(r.solutions.back(), r.x);
    EXPECT_EQ(r.nodesleft, 0);
}

TEST(EngineMip, SmallAndPublicModelsReachTheirOptima)
{
    for (int presolve : {0, 1}) {
        SCOPED_TRACE(testing::Message() << "presolve " << presolve);
        solver s;
        s.params.presolve = presolve;
        for (int sense : {VNT_MIN, VNT_MAX}) {
            problem p = threeintegers(sense);
            p.m.offset = 1000;
            expectmip(p, s.mip(p), 1000 - 13 * sense);
        }
        file_problem p0033("p0033.mps"), egout("egout.mps"), stein27("stein27.mps");
        expectmip(p0033, s.mip(p0033), 3089);
        expectmip(egout, s.mip(egout), 568.1007);
        expectmip(stein27, s.mip(stein27), 18);
    }
}

TEST(EngineMip, ImpossibleProblemsAreToldApart)
{
    problem lattice; // 2x + 2y = 3 has no integer point, though a relaxation
    lattice.col(1, 0, 10, 'I');
    lattice.col(1, 0, 10, 'I');
    lattice.row(3, 3, {{0, 2}, {1, 2}});
    problem nothing = threeintegers(VNT_MAX);
    nothing.row(30, inf, {{0, 1}, {1, 1}, {2, 1}});
    problem between; // no integer between the bounds of a column
    between.col(1, 0.3, 0.7, 'I');
    between.row(0, 1, {{0, 1}});
    problem unbounded; // x + y free to grow, z binary
    unbounded.m.sense = VNT_MAX;
    unbounded.col(1, 0, inf, 'I');
    unbounded.col(1, 0, inf);
    unbounded.col(0, 0, 1, 'B');
    unbounded.row(-inf, 3, {{0, 1}, {1, -1}, {2, 1}});
    problem neither = unbounded; // the relaxation has no limit, and there is no integer point
    neither.col(0, 0, 10, 'I');
    neither.row(1, 1, {{3, 2}});
    for (int presolve : {0, 1}) {
        SCOPED_TRACE(testing::Message() << "presolve " << presolve);
        solver s;
        s.params.presolve = presolve;
        EXPECT_EQ(s.mip(lattice).status, VNT_STAT_INFEASIBLE);
        EXPECT_EQ(s.mip(nothing).status, VNT_STAT_INFEASIBLE);
        EXPECT_EQ(s.mip(between).status, VNT_STAT_INFEASIBLE);
        EXPECT_EQ(s.mip(neither).status, VNT_STAT_INFEASIBLE);
        engine_result r = s.mip(unbounded);
        EXPECT_EQ(r.status, VNT_STAT_UNBOUNDED);
        EXPECT_TRUE(engine_provesunbounded(unbounded.m, r.ray));
        EXPECT_LT(engine_violation(unbounded.m, r.x.data()), 1e-6);
    }
}

TEST(EngineMip, OddShapesAreSolved)
{
    problem norows;
    norows.col(1, 0.5, 4.5, 'I');
    norows.col(-1, 0, 2.5, 'I');
    norows.col(-1, 0, 2.5);
    expectmip(norows, solver().mip(norows), 1 - 2 - 2.5);

    problem odd = threeintegers(VNT_MAX); // empty and fixed columns, a free one, an empty row
    odd.col(1, 0, 3, 'I');
    odd.col(2, 1, 1, 'I');
    int free = odd.col(-1, -inf, inf);
    odd.row(-inf, inf, {});
    odd.row(2, 2, {{free, 1}, {0, -1}});
    for (int presolve : {0, 1}) {
        solver s;
        s.params.presolve = presolve;
        expectmip(odd, s.mip(odd), 12 + 3 + 2 - 2); // at (0, 0, 4)
    }
    problem fixed; // nothing to decide
    fixed.col(3, 2, 2, 'I');
    fixed.col(1, 1, 1, 'B');
    fixed.row(5, 5, {{0, 2}, {1, 1}});
    expectmip(fixed, solver().mip(fixed), 7);

    problem continuous = twocolumns(VNT_MAX); // a mixed-integer problem in name only
    continuous.ctype = "CC";
    continuous.col(0, 0, 1, 'I');
    expectmip(continuous, solver().mip(continuous), 11);
}

// A problem that takes long enough to be stopped in.
TEST(EngineMip, AStopKeepsTheIncumbentAndTheBound)
{
    file_problem p("misc07.mps");
    for (int after : {1, 300}) { // polls after the first incumbent
        solver s;
        int polls = 0;
        engine_progress last = {};
        std::vector<double> x;
        s.onpoll = [&](const engine_progress &progress, engine_reply &reply) {
            if (progress.solution == nullptr) return;
            last = progress;
            x.assign(progress.solution, progress.solution + p.m.numcols);
            reply.stop = ++polls >= after;
        };
        engine_result r = s.mip(p);
        EXPECT_EQ(r.status, VNT_STAT_STOPPED);
        EXPECT_EQ(r.x, x);
        EXPECT_EQ(r.objective, last.incumbent);
        EXPECT_EQ(r.bound, last.bound);
        EXPECT_LE(r.bound, 2810 + 1e-6);
        EXPECT_GE(r.objective, 2810 - 1e-6);
        EXPECT_LT(engine_violation(p.m, r.x.data()), 1e-6);
    }
}

TEST(EngineMip, ACutoffThatNothingBeatsIsSaidToBeThat)
{
    for (int sense : {VNT_MIN, VNT_MAX}) {
        file_problem p("p0033.mps"); // 3089
        p.m.sense = sense;
        if (sense == VNT_MAX)
            for (double &c : p.obj)
                c = -c;
        for (double cutoff : {3089.0, 3000.0}) {
            solver injected;
            injected.onpoll = [&](const engine_progress &progress, engine_reply &reply) {
                reply.inject = progress.ticks == 2;
                reply.cutoff = sense * cutoff;
            };
            engine_result r = injected.mip(p);
            EXPECT_EQ(r.status, VNT_STAT_CUTOFF);
            EXPECT_EQ(r.cutoff, sense * cutoff);
            EXPECT_EQ(r.bound, r.cutoff);
            EXPECT_TRUE(r.solutions.empty());
        }
        solver given; // as a parameter, and with something to be found
        given.params.cutoff = sense * 3100.0;
        expectmip(p, given.mip(p), sense * 3089);
    }
}

TEST(EngineMip, ACutoffBetweenTwoStepsOfTheObjectiveLeavesTheBetterOne)
{
    for (double scale : {1.0, 0.25, 1.0 / 3}) // steps of the objective, and none that is seen
        for (int sense : {VNT_MIN, VNT_MAX}) {
            problem p = threeintegers(sense); // 13 is the best of the whole numbers
            for (double &c : p.obj)
                c *= scale;
            p.m.offset = 0.5;
            double best = 0.5 - sense * 13 * scale;
            solver s;
            s.params.cutoff = best + sense * 0.01 * scale;
            expectmip(p, s.mip(p), best);
            s.params.cutoff = best;
            EXPECT_EQ(s.mip(p).status, VNT_STAT_CUTOFF);
            s.params.cutoff = best - sense * 0.01 * scale;
            EXPECT_EQ(s.mip(p).status, VNT_STAT_CUTOFF);
        }
}

TEST(EngineMip, ACutoffInTheSearchLeavesTheIncumbentThatItBeats)
{
    file_problem p("stein27.mps"); // 18
    solver s;
    s.onpoll = [](const engine_progress &progress, engine_reply &reply) {
        reply.inject = progress.nodes >= 3 && progress.solution != nullptr;
        reply.cutoff = 17;
    };
    engine_result r = s.mip(p);
    EXPECT_EQ(r.status, VNT_STAT_CUTOFF);
    EXPECT_EQ(r.bound, 17);
    EXPECT_GE(r.objective, 18);
}

TEST(EngineMip, AStartIsTheFirstIncumbentAndAPartOfOneIsCompleted)
{
    problem p = threeintegers(VNT_MAX);
    std::vector<double> start = {1, 0, 2}; // 11
    p.m.start = start.data();
    solver s;
    s.params.solutionlimit = 1;
    engine_result r = s.mip(p);
    EXPECT_EQ(r.status, VNT_STAT_SOLUTION_LIMIT);
    EXPECT_EQ(r.x, start);

    start = {1, NAN, NAN}; // completes to 12 with b = 1 and c = 1, or less
    r = s.mip(p);
    EXPECT_EQ(r.status, VNT_STAT_SOLUTION_LIMIT);
    EXPECT_EQ(r.x[0], 1);

    start = {2, 0, 1}; // the optimum: nothing better is found
    expectmip(p, solver().mip(p), 13);
    start = {9, 9, 9}; // infeasible: of no use, no harm
    expectmip(p, solver().mip(p), 13);
}

TEST(EngineMip, NodeAndTimeLimitsEndWithTheirStatus)
{
    file_problem p("p0201.mps");
    solver nodes;
    nodes.params.nodelimit = 5;
    engine_result r = nodes.mip(p);
    EXPECT_EQ(r.status, VNT_STAT_NODE_LIMIT);
    EXPECT_LE(r.nodes, 6);
    EXPECT_GT(r.nodesleft, 0);
    solver late;
    late.params.timelimit = 0;
    EXPECT_EQ(late.mip(p).status, VNT_STAT_TIME_LIMIT);
    solver gap;
    gap.params.relgap = 0.9;
    r = gap.mip(p);
    EXPECT_EQ(r.status, VNT_STAT_OPTIMAL_TOLERANCE);
    EXPECT_LT(r.bound, r.objective);
}

TEST(EngineMip, TimeHeldInThePollDoesNotCount)
{
    file_problem p("p0033.mps");
    solver s;
    s.params.timelimit = 1;
    s.onpoll = [](const engine_progress &progress, engine_reply &) {
        if (progress.ticks == 100) std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    };
    expectmip(p, s.mip(p), 3089);
}

TEST(EngineMip, ProgressIsOrderedAndSignalsAndOutputAreLeftAlone)
{
    file_problem p("p0201.mps");
    struct sigaction before;
    sigaction(SIGINT, nullptr, &before);
    solver s;
    double bound = -inf;
    int64_t nodes = 0, iterations = 0;
    bool changed = false;
    s.onpoll = [&](const engine_progress &progress, engine_reply &) {
        struct sigaction now;
        sigaction(SIGINT, nullptr, &now);
        changed = changed || now.sa_handler != before.sa_handler;
        EXPECT_GE(progress.nodes, nodes);
        EXPECT_GE(progress.iterations, iterations);
        EXPECT_GE(progress.bound, bound);
        if (progress.solution != nullptr) {
            EXPECT_LE(progress.bound, progress.incumbent);
        }
        nodes = progress.nodes;
        iterations = progress.iterations;
        bound = progress.bound;
    };
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    engine_result r = s.mip(p);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    expectmip(p, r, 7615);
    EXPECT_FALSE(changed);
    EXPECT_NE(s.logged.find("* incumbent 7615 "), std::string::npos);
}

TEST(EngineMip, RepeatedSolvesGiveTheSameBitsAndWorkCount)
{
    file_problem p("p0201.mps"), other("egout.mps");
    std::string first = bits(solver().mip(p));
    solver().mip(other); // must leave nothing behind that the next one sees
    EXPECT_EQ(bits(solver().mip(p)), first);
}

// A problem with small whole numbers in it, now and then without a feasible point.
problem randomproblem(std::mt19937 &random, int least, int most)
{
    auto number = [&](int low, int high) {
        return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
    };
    problem p;
    p.m.sense = number(0, 1) ? VNT_MIN : VNT_MAX;
    p.m.offset = number(-3, 3);
    int columns = number(least, most), rows = number(least, most);
    for (int j = 0; j < columns; j++) {
        int low = number(-2, 1);
        p.col(number(-4, 4), low, low + number(0, 3), 'I');
    }
    for (int i = 0; i < rows; i++) {
        std::vector<problem::entry> entries;
        for (int j = 0; j < columns; j++)
            if (int a = number(-3, 3); a != 0) entries.push_back({j, static_cast<double>(a)});
        int side = number(-4, 6), kind = number(0, 5);
        p.row(kind < 3 ? -inf : side - (kind == 3 ? 0 : number(0, 4)), kind == 5 ? inf : side,
              entries);
    }
    return p;
}

// The best objective of all points of the lattice, infinite (worst) without a feasible one.
double enumerate(problem &p)
{
    const engine_model &m = p.model();
    double best = inf;
    std::vector<double> x = p.collower;
    for (;;) {
        if (engine_violation(m, x.data()) == 0)
            best = std::min(best, m.sense * engine_objective(m, x.data()));
        int j = 0;
        while (j < m.numcols && ++x[j] > p.colupper[j])
            x[j] = p.collower[j], j++;
        if (j == m.numcols) return m.sense * best;
    }
}

TEST(EngineMip, RandomProblemsAgreeWithEnumeration)
{
    std::mt19937 random(1);
    for (int i = 0; i < 850; i++) {
        SCOPED_TRACE(testing::Message() << "problem " << i);
        problem p = randomproblem(random, 1, 5);
        double best = enumerate(p);
        solver s;
        s.params.presolve = i % 2;
        s.params.cuts = i % 3 != 0;
        s.params.heuristics = i % 5 != 0;
        if (std::fabs(best) == inf)
            EXPECT_EQ(s.mip(p).status, VNT_STAT_INFEASIBLE);
        else
            expectmip(p, s.mip(p), best);
    }
}

// Two integer columns with equal costs; preprocessing, allowed to merge them, answered -5.
TEST(EngineMip, PreprocessingLosesNoSolution)
{
    problem p;
    p.m.sense = VNT_MAX;
    p.m.offset = -1;
    p.col(2, 1, 3, 'I');
    p.col(1, 0, 1, 'I');
    p.col(4, -inf, 1);
    p.col(-1, 1, 3, 'I');
    p.col(4, -2, inf);
    p.row(3, inf, {{1, 2}, {2, 1}, {3, 1}, {4, -1}});
    p.row(-3, inf, {{0, 3}, {1, -3}, {2, -1}, {3, 2}, {4, -1}});
    p.row(0, 0, {{0, -2}, {2, 3}, {3, -1}, {4, -1}});
    expectmip(p, solver().mip(p), 5);
}

// With continuous columns and columns without bounds there is no enumeration; but what is switched
// on to be faster must not change the answer.
TEST(EngineMip, RandomMixedProblemsAreAnsweredAlikeWhateverIsSwitchedOn)
{
    std::mt19937 random(35);
    for (int i = 0; i < 200; i++) {
        SCOPED_TRACE(testing::Message() << "problem " << i);
        problem p = randomproblem(random, 2, 8);
        for (size_t j = 0; j < p.obj.size(); j++) {
            unsigned kind = random() % 6;
            bool open = random() % 3 == 0;
            if (kind < 3) p.ctype[j] = 'C';
            if (kind == 1 || (kind == 5 && open)) p.colupper[j] = inf;
            if (kind == 2 || (kind == 0 && open)) p.collower[j] = -inf;
        }
        solver bare;
        bare.params.presolve = bare.params.cuts = bare.params.heuristics = 0;
        engine_result expected = bare.mip(p), r = solver().mip(p);
        bool solved =
            expected.status == VNT_STAT_OPTIMAL || expected.status == VNT_STAT_OPTIMAL_TOLERANCE;
        if (!solved) {
            EXPECT_EQ(r.status, expected.status);
            continue;
        }
        EXPECT_NEAR(r.objective, expected.objective, 1e-5 * (1 + std::fabs(r.objective)));
        EXPECT_LT(engine_violation(p.m, r.x.data()), 1e-6);
        EXPECT_EQ(engine_fraction(p.m, r.x.data()), 0);
    }
}

// The methods check each other, and each answer comes with what proves it.
TEST(EngineLp, RandomProblemsAreAnsweredAlikeAndWithProof)
{
    std::mt19937 random(20240301);
    for (int i = 0; i < 400; i++) {
        problem p = randomproblem(random, 1, 5);
        for (size_t j = 0; j < p.obj.size(); j++) // and let some columns go
            if (random() % 2) p.colupper[j] = inf;
        std::optional<int> status;
        for (engine_method method : {ENGINE_PRIMAL, ENGINE_DUAL, ENGINE_BARRIER}) {
            SCOPED_TRACE(testing::Message() << "problem " << i << " method " << method);
            solver s;
            s.params.presolve = i % 2;
            engine_result r = s.lp(p, method);
            EXPECT_EQ(r.status, status.value_or(r.status));
            status = r.status;
            if (r.status == VNT_STAT_OPTIMAL)
                expectoptimal(p, r, r.objective);
            else if (r.status == VNT_STAT_UNBOUNDED)
                EXPECT_TRUE(engine_provesunbounded(p.m, r.ray));
            else
                EXPECT_TRUE(r.farkas.empty() || engine_provesinfeasible(p.m, r.farkas));
        }
    }
}

TEST(Engine, SolvesSideBySideDoNotDisturbEachOther)
{
    file_problem p("p0033.mps"), other("egout.mps");
    std::string alone = bits(solver().mip(p)), otheralone = bits(solver().mip(other));
    std::string beside;
    std::thread thread([&] {
        for (int i = 0; i < 10; i++)
            beside = bits(solver().mip(p));
    });
    for (int i = 0; i < 10; i++)
        EXPECT_EQ(bits(solver().mip(other)), otheralone);
    thread.join();
    EXPECT_EQ(beside, alone);
}

TEST(Engine, ModelsThatAreTooLargeAreRefused)
{
    problem p = twocolumns(VNT_MIN);
    p.model();
    p.begin.back() = int64_t(1) << 31;
    engine_result r;
    EXPECT_EQ(engine_solvelp(p.arrays(), {}, ENGINE_DUAL, true, {}, &r), VNTERR_NOT_SUPPORTED);
    EXPECT_EQ(engine_solvemip(p.arrays(), {}, {}, &r), VNTERR_NOT_SUPPORTED);
}

} // namespace