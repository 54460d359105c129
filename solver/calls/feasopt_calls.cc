// The least relaxation of a problem that asks too much.

#include "solver/calls/calls.h"
#include "solver/calls/groups.h"
#include "solver/calls/solve.h"
#include "solver/problem/conflict.h"
#include "solver/problem/relaxation.h"

#include <cmath>

using namespace vnt;

// What may give way: VNT_FEASOPT_* say how what it costs is counted.
static void solve_relaxed(vntenv &e, vntlp &p, relaxation &r, int mode)
{
    bool optimize =
        mode == VNT_FEASOPT_SUM_THEN_OBJECTIVE || mode == VNT_FEASOPT_NUMBER_THEN_OBJECTIVE;
    if (optimize && p.m.quadratic())
        throw failure{VNTERR_NOT_SUPPORTED, "a quadratic objective within a relaxation"};
    answer found;
    uint64_t ticks = 0;
    int rc = solve_run(e, p.m.numcols(), [&](const auto &params, const auto &hooks) {
        engine_series series(params, hooks);
        int rc = r.solve(series, optimize, &found);
        ticks = series.ticks();
        return rc;
    });
    e.ticks += ticks;
    require(rc == 0, rc);
    p.changed();
    p.last = std::move(found);
    p.last.ticks = ticks;
    solve_report(e, p.last);
}

static int mode_of(const vntenv &e)
{
    return e.parameters.get_int(VNT_PARAM_FEASOPT_MODE);
}

static relaxation relaxation_of(const vntlp &p, int mode)
{
    return relaxation(p, mode == VNT_FEASOPT_NUMBER || mode == VNT_FEASOPT_NUMBER_THEN_OBJECTIVE);
}

// Preferences by row and column; what has none above 0 stays as it is.
class preferences {
  public:
    preferences(const model &m, relaxation &r) : m(m), r(r) {}

    void relax(char type, int count, const double *preference, const std::function<int(int)> &sides)
    {
        for (int k = 0; k < count && preference != nullptr; k++) {
            require(std::isfinite(preference[k]), VNTERR_BAD_NUMBER);
            if (preference[k] <= 0) continue;
            if (type != VNT_CONSTRAINT_ROW && bounds_stay(m, k)) continue;
            r.relax({type, k}, sides(k), preference[k], group++);
        }
    }

  private:
    const model &m;
    relaxation &r;
    int64_t group = 0;
};

// A ranged row lies between rhs and rhs + range.
static int rhs_side(const model &m, int i)
{
    if (m.row_sense[i] != 'R') return SIDE_BOTH;
    return m.range[i] >= 0 ? SIDE_LOWER : SIDE_UPPER;
}

static int range_side(const model &m, int i)
{
    return m.row_sense[i] == 'R' ? SIDE_BOTH - rhs_side(m, i) : 0;
}

static int feasopt(VNTENVptr env, VNTLPptr lp, const double *rhs, const double *rng,
                   const double *lb, const double *ub, const char *call)
{
    return with_environment(
        env,
        [&](vntenv &e) {
            vntlp &p = problem_of(e, lp);
            const model &m = p.m;
            relaxation r = relaxation_of(p, mode_of(e));
            preferences give(m, r);
            auto both = [](int) -> int { return SIDE_BOTH; };
            give.relax(VNT_CONSTRAINT_ROW, m.numrows(), rhs, [&](int i) { return rhs_side(m, i); });
            give.relax(VNT_CONSTRAINT_ROW, m.numrows(), rng,
                       [&](int i) { return range_side(m, i); });
            give.relax(VNT_CONSTRAINT_LOWER, m.numcols(), lb, both);
            give.relax(VNT_CONSTRAINT_UPPER, m.numcols(), ub, both);
            solve_relaxed(e, p, r, mode_of(e));
        },
        call);
}

int VNTLfeasopt(VNTENVptr env, VNTLPptr lp, const double *rhs, const double *rng, const double *lb,
                const double *ub)
{
    return feasopt(env, lp, rhs, rng, lb, ub, __func__);
}

// There are no quadratic constraints.
int VNTLEfeasopt(VNTENVptr env, VNTLPptr lp, const double *rhs, const double *rng, const double *lb,
                 const double *ub, const double *)
{
    return feasopt(env, lp, rhs, rng, lb, ub, __func__);
}

int VNTLfeasoptext(VNTENVptr env, VNTLPptr lp, int grpcnt, int64_t concnt, const double *grppref,
                   const int64_t *grpbeg, const int *grpind, const char *grptype)
{
    return with_environment(env, [&](vntenv &e) {
        vntlp &p = problem_of(e, lp);
        relaxation r = relaxation_of(p, mode_of(e));
        int64_t number = 0;
        for (const conflict_group &g :
             groups_of(p.m, {grpcnt, concnt, grppref, grpbeg, grpind, grptype})) {
            for (const conflict_member &member : g.members)
                if (g.preference > 0) r.relax(member, SIDE_BOTH, g.preference, number);
            number++;
        }
        solve_relaxed(e, p, r, mode_of(e));
    });
}
