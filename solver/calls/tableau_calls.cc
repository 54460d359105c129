// The tableau of the basis, and trial branches from it.

#include "solver/calls/calls.h"
#include "solver/calls/solve.h"
#include "solver/problem/reformulation.h"
#include "solver/problem/tableau.h"

#include <cmath>

using namespace vnt;

static void require_index(int k, int limit)
{
    require(k >= 0 && k < limit, VNTERR_INDEX_RANGE);
}

static void put_vector(const std::vector<double> &from, double *where, int count)
{
    if (where != nullptr) std::copy_n(from.begin(), count, where);
}

// Slacks are counted downwards from -1.
static void put_head(const tableau &t, int *head)
{
    if (head == nullptr) return;
    for (int p = 0; p < t.numrows(); p++) {
        int k = t.head()[p];
        head[p] = k < t.numcols() ? k : t.numcols() - 1 - k;
    }
}

int VNTLgetbhead(VNTENVptr env, VNTLPptr lp, int *head, double *x)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const tableau &t = p.basis_tableau();
        put_head(t, head);
        for (int k = 0; k < t.numrows() && x != nullptr; k++)
            x[k] = t.values()[t.head()[k]];
    });
}

int VNTLgetijrow(VNTENVptr env, VNTLPptr lp, int i, int j, int *row_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const tableau &t = p.basis_tableau();
        require((i < 0) != (j < 0), VNTERR_BAD_ARGUMENT);
        i < 0 ? require_index(j, t.numcols()) : require_index(i, t.numrows());
        put(row_p, t.position(i < 0 ? j : t.numcols() + i));
    });
}

int VNTLbinvcol(VNTENVptr env, VNTLPptr lp, int j, double *x)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const tableau &t = p.basis_tableau();
        require_index(j, t.numrows());
        put_vector(t.updated(t.numcols() + j), x, t.numrows());
    });
}

int VNTLbinvrow(VNTENVptr env, VNTLPptr lp, int i, double *y)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const tableau &t = p.basis_tableau();
        require_index(i, t.numrows());
        std::vector<double> row = t.unit(i);
        t.basis().btran(row.data());
        put_vector(row, y, t.numrows());
    });
}

int VNTLbinvacol(VNTENVptr env, VNTLPptr lp, int j, double *x)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const tableau &t = p.basis_tableau();
        require_index(j, t.numcols());
        put_vector(t.updated(j), x, t.numrows());
    });
}

int VNTLbinvarow(VNTENVptr env, VNTLPptr lp, int i, double *z)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const tableau &t = p.basis_tableau();
        require_index(i, t.numrows());
        put_vector(t.row(i), z, t.numcols());
    });
}

static void require_numbers(const double *values, int count)
{
    require_there(values, count > 0);
    for (int k = 0; k < count; k++)
        require(std::isfinite(values[k]), VNTERR_BAD_NUMBER);
}

int VNTLftran(VNTENVptr env, VNTLPptr lp, double *x)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const tableau &t = p.basis_tableau();
        require_numbers(x, t.numrows());
        t.basis().ftran(x);
    });
}

int VNTLbtran(VNTENVptr env, VNTLPptr lp, double *y)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const tableau &t = p.basis_tableau();
        require_numbers(y, t.numrows());
        t.basis().btran(y);
    });
}

int VNTLgetgrad(VNTENVptr env, VNTLPptr lp, int j, int *head, double *y)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const tableau &t = p.basis_tableau();
        require_index(j, t.numcols());
        put_head(t, head);
        put_vector(t.updated(j), y, t.numrows());
    });
}

int VNTLmdleave(VNTENVptr env, VNTLPptr lp, const int *indices, int cnt, double *downratio,
                double *upratio)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const tableau &t = optimal_tableau(p);
        require_indices(cnt, indices, t.numcols());
        for (int k = 0; k < cnt; k++)
            require(t.position(indices[k]) >= 0, VNTERR_BAD_ARGUMENT);
        for (int k = 0; k < cnt; k++) {
            double down, up;
            t.leaving_prices(indices[k], &down, &up);
            if (downratio != nullptr) downratio[k] = down;
            if (upratio != nullptr) upratio[k] = up;
        }
    });
}

// The ray moves one place that is not basic, and the basic ones after it.
static void find_diverging(const vntlp &p, int *row, int *col)
{
    for (int j = 0; j < p.m.numcols(); j++) {
        bool moves = p.last.ray[j] != 0;
        if (moves && p.last.cstat[j] != VNT_BASIS_BASIC) return void(*col = j);
    }
    std::vector<double> activity = p.m.activities(p.last.ray.data());
    for (int i = 0; i < p.m.numrows(); i++) {
        bool moves = std::fabs(activity[i]) > 1e-9;
        if (moves && p.last.rstat[i] != VNT_BASIS_BASIC) return void(*row = i);
    }
    auto moves = [](double step) { return step != 0; };
    auto first = std::find_if(p.last.ray.begin(), p.last.ray.end(), moves);
    *col = static_cast<int>(first - p.last.ray.begin());
}

int VNTLgetijdiv(VNTENVptr env, VNTLPptr lp, int *idiv_p, int *jdiv_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(!p.last.ray.empty(), VNTERR_NO_SOLUTION);
        require(!p.last.cstat.empty(), VNTERR_NO_BASIS);
        int row = -1, col = -1;
        find_diverging(p, &row, &col);
        put(idiv_p, row);
        put(jdiv_p, col);
    });
}

int VNTLstrongbranch(VNTENVptr env, VNTLPptr lp, const int *indices, int cnt, double *downobj,
                     double *upobj, int64_t itlim)
{
    return with_environment(env, [&](vntenv &e) {
        vntlp &p = problem_of(e, lp);
        optimal_tableau(p);
        require_indices(cnt, indices, p.m.numcols());
        require(itlim >= 0, VNTERR_BAD_ARGUMENT);
        reformulation in(p, false);
        std::vector<int> columns(indices, indices + cnt);
        std::vector<double> down, up;
        uint64_t ticks = 0;
        int rc = solve_run(e, p.m.numcols(), [&](const auto &params, const auto &hooks) {
            return engine_strong_branch(in.engine(), params, hooks, columns, itlim, &down, &up,
                                        &ticks);
        });
        e.ticks += ticks;
        require(rc == 0, rc);
        put_vector(down, downobj, cnt);
        put_vector(up, upobj, cnt);
    });
}
