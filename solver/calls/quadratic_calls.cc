// Quadratic objectives: 1/2 x'Qx beside the linear one.

#include "solver/calls/calls.h"
#include "solver/calls/solve.h"
#include "solver/engine/convex.h"

#include <functional>

using namespace vnt;

static void require_own_type(const vntlp &p)
{
    require(p.m.type != VNT_PROB_FIXED_MIP, VNTERR_WRONG_TYPE);
}

// Takes a symmetric matrix in place of the one that is there.
static void replace_quadratic(vntlp &p, const matrix &q)
{
    matrix_view cols = q.by_column();
    for (int j = 0; j < q.cols(); j++) {
        for (int64_t k = cols.begin[j]; k < cols.begin[j + 1]; k++) {
            if (q.get(j, cols.index[k]) == cols.value[k]) continue;
            throw failure{VNTERR_BAD_ARGUMENT, printed("Q is not symmetric: entries %d and %d of "
                                                       "each other's columns differ",
                                                       cols.index[k], j)};
        }
    }
    p.m.clear_quadratic();
    for (int j = 0; j < q.cols(); j++) {
        for (int64_t k = cols.begin[j]; k < cols.begin[j + 1]; k++) {
            if (cols.index[k] >= j) p.m.set_quadratic(cols.index[k], j, cols.value[k]);
        }
    }
    p.changed();
}

int VNTLcopyquad(VNTENVptr env, VNTLPptr lp, const int64_t *qmatbeg, const int *qmatcnt,
                 const int *qmatind, const double *qmatval)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_own_type(p);
        int n = p.m.numcols();
        require_there(qmatbeg, n > 0);
        require_there(qmatcnt, n > 0);
        matrix_lines lines = {n, -1, qmatbeg, qmatcnt, qmatind, qmatval};
        matrix::check(lines, n);
        matrix q;
        q.grow(n, 0);
        q.append_cols(lines);
        replace_quadratic(p, q);
    });
}

// The diagonal of Q.
int VNTLcopyqpsep(VNTENVptr env, VNTLPptr lp, const double *qsepvec)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_own_type(p);
        int n = p.m.numcols();
        require_there(qsepvec, n > 0);
        matrix q;
        q.grow(n, n);
        for (int j = 0; j < n; j++)
            q.set(j, j, model_finite(qsepvec[j]));
        replace_quadratic(p, q);
    });
}

static void require_place(const vntlp &p, int i, int j)
{
    for (int index : {i, j})
        require(index >= 0 && index < p.m.numcols(), VNTERR_INDEX_RANGE);
}

int VNTLchgqpcoef(VNTENVptr env, VNTLPptr lp, int i, int j, double newvalue)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_own_type(p);
        require_place(p, i, j);
        p.m.set_quadratic(i, j, model_finite(newvalue));
        p.m.settle_quadratic();
        p.changed();
    });
}

int64_t VNTLgetnumqpnz(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.m.q.entries(); });
}

// The columns that have entries.
int VNTLgetnumquad(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) {
        int count = 0;
        matrix_view cols = p.m.q.by_column();
        for (int j = 0; j < p.m.q.cols(); j++)
            count += cols.begin[j] < cols.begin[j + 1];
        return count;
    });
}

int VNTLgetqpcoef(VNTENVptr env, VNTLPptr lp, int rownum, int colnum, double *coef_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_place(p, rownum, colnum);
        put(coef_p, p.m.quadratic() ? p.m.q.get(rownum, colnum) : 0);
    });
}

int VNTLgetquad(VNTENVptr env, VNTLPptr lp, int64_t *nzcnt_p, int64_t *qmatbeg, int *qmatind,
                double *qmatval, int64_t qmatspace, int64_t *surplus_p, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        std::vector<int64_t> none(p.m.numcols() + 1, 0);
        matrix_view cols = p.m.q.by_column();
        if (!p.m.quadratic()) cols.begin = none.data();
        put_lines(cols, p.m.numcols(), nzcnt_p, qmatbeg, qmatind, qmatval, qmatspace, surplus_p,
                  begin, end);
    });
}

static engine_quadratic quadratic_of(const model &m)
{
    matrix_view cols = m.q.by_column();
    return {cols.begin, cols.index, cols.value};
}

// A direction in which the objective curves the wrong way.
int VNTLqpindefcertificate(VNTENVptr env, VNTLPptr lp, double *x)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(p.m.quadratic(), VNTERR_WRONG_TYPE);
        std::vector<double> found = engine_nonconvex(quadratic_of(p.m), p.m.numcols(), p.m.sense);
        require(!found.empty(), VNTERR_NO_SOLUTION);
        put_range(found, x, 0, p.m.numcols() - 1);
    });
}

int VNTLqpopt(VNTENVptr env, VNTLPptr lp)
{
    return with_environment(env, [&](vntenv &e) {
        vntlp &p = problem_of(e, lp);
        p.m.type == VNT_PROB_LP ? solve_lp(e, p, ENGINE_BARRIER) : solve_qp(e, p);
    });
}

// c + Qx - A'pi
int VNTLqpdjfrompi(VNTENVptr env, VNTLPptr lp, const double *pi, const double *x, double *dj)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_there(pi, p.m.numrows() > 0);
        require_there(x, p.m.numcols() > 0);
        std::vector<double> out = p.m.objective;
        if (p.m.quadratic()) {
            std::vector<double> slope = engine_multiply(quadratic_of(p.m), p.m.numcols(), x);
            std::transform(out.begin(), out.end(), slope.begin(), out.begin(), std::plus<>());
        }
        put_range(matrix_reduced_costs(p.m.a.by_column(), std::move(out), pi), dj, 0,
                  p.m.numcols() - 1);
    });
}
