#include "solver/engine.h"
#include "solver/enginemodel.h"

#include <CoinMpsIO.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstring>
#include <functional>
#include <string>

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

} // namespace
