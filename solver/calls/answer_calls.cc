// What the last solve of a problem left.

#include "solver/calls/calls.h"

#include <cmath>

using namespace vnt;

static answer &answer_of(vntlp &p)
{
    require(p.last.has_solution(), VNTERR_NO_SOLUTION);
    return p.last;
}

static const std::vector<double> &there(const std::vector<double> &values)
{
    require(!values.empty(), VNTERR_NO_SOLUTION);
    return values;
}

int VNTLgetstat(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.last.status; });
}

int VNTLgetmethod(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.last.method; });
}

int VNTLsolninfo(VNTENVptr env, VNTLPptr lp, int *solnmethod_p, int *solntype_p, int *pfeasind_p,
                 int *dfeasind_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put(solnmethod_p, p.last.method);
        put(solntype_p, p.last.solution);
        put(pfeasind_p, static_cast<int>(p.last.primal_feasible));
        put(dfeasind_p, static_cast<int>(p.last.dual_feasible));
    });
}

int VNTLgetobjval(VNTENVptr env, VNTLPptr lp, double *objval_p)
{
    return with_problem(env, lp, [&](vntlp &p) { put(objval_p, answer_of(p).objective); });
}

// Zeros for what the method does not give.
static void put_all(const std::vector<double> &values, size_t count, double *where)
{
    if (where == nullptr) return;
    std::fill_n(where, count, 0.0);
    std::copy(values.begin(), values.end(), where);
}

int VNTLsolution(VNTENVptr env, VNTLPptr lp, int *lpstat_p, double *objval_p, double *x, double *pi,
                 double *slack, double *dj)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put(lpstat_p, p.last.status);
        const answer &last = answer_of(p);
        put(objval_p, last.objective);
        put_all(last.x, p.m.numcols(), x);
        put_all(last.pi, p.m.numrows(), pi);
        put_all(last.slack, p.m.numrows(), slack);
        put_all(last.dj, p.m.numcols(), dj);
    });
}

int VNTLgetx(VNTENVptr env, VNTLPptr lp, double *x, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) { put_range(answer_of(p).x, x, begin, end); });
}

int VNTLgetax(VNTENVptr env, VNTLPptr lp, double *x, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_range(p.m.activities(answer_of(p).x.data()), x, begin, end);
    });
}

int VNTLgetslack(VNTENVptr env, VNTLPptr lp, double *slack, int begin, int end)
{
    return with_problem(env, lp,
                        [&](vntlp &p) { put_range(answer_of(p).slack, slack, begin, end); });
}

int VNTLgetpi(VNTENVptr env, VNTLPptr lp, double *pi, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        bool none =
            p.m.numrows() == 0 && p.last.has_solution(); // no rows, no prices, and an answer
        put_range(none ? p.last.pi : there(p.last.pi), pi, begin, end);
    });
}

int VNTLgetdj(VNTENVptr env, VNTLPptr lp, double *dj, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) { put_range(there(p.last.dj), dj, begin, end); });
}

int VNTLgetray(VNTENVptr env, VNTLPptr lp, double *z)
{
    return with_problem(env, lp,
                        [&](vntlp &p) { put_range(there(p.last.ray), z, 0, p.m.numcols() - 1); });
}

int VNTLdualfarkas(VNTENVptr env, VNTLPptr lp, double *y, double *proof_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_range(there(p.last.farkas), y, 0, p.m.numrows() - 1);
        put(proof_p, p.last.proof);
    });
}

// The basis.

int VNTLgetbase(VNTENVptr env, VNTLPptr lp, int *cstat, int *rstat)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(p.has_basis(), VNTERR_NO_BASIS);
        put_range(p.cstat, cstat, 0, p.m.numcols() - 1);
        put_range(p.rstat, rstat, 0, p.m.numrows() - 1);
    });
}

int VNTLEcangetbase(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return static_cast<int>(p.has_basis()); });
}

static void copy_basis(vntlp &p, const int *cstat, const int *rstat)
{
    std::vector<int> cols = basis_copy(cstat, p.m.numcols());
    std::vector<int> rows = basis_copy(rstat, p.m.numrows());
    basis_check(cols, rows);
    p.set_basis(std::move(cols), std::move(rows));
}

int VNTLcopybase(VNTENVptr env, VNTLPptr lp, const int *cstat, const int *rstat)
{
    return with_problem(env, lp, [&](vntlp &p) { copy_basis(p, cstat, rstat); });
}

// A start is a basis, or values of the columns for a search; row and dual values give nothing that
// the engines could start from.
int VNTLcopystart(VNTENVptr env, VNTLPptr lp, const int *cstat, const int *rstat,
                  const double *cprim, const double *, const double *, const double *)
{
    return with_problem(env, lp, [&](vntlp &p) {
        if (cprim != nullptr) {
            for (int j = 0; j < p.m.numcols(); j++)
                model_finite(cprim[j]);
        }
        if (cstat != nullptr || rstat != nullptr) copy_basis(p, cstat, rstat);
        if (cprim != nullptr) p.start.assign(cprim, cprim + p.m.numcols());
    });
}

// The counts of the last solve.

int64_t VNTLgetitcnt(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) {
        return p.last.method == VNT_METHOD_MIP ? int64_t{0} : p.last.iterations;
    });
}

int64_t VNTLgetphase1cnt(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.last.phase1_iterations; });
}

int64_t VNTLgetbaritcnt(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.last.barrier_iterations; });
}

int64_t VNTLgetmipitcnt(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) {
        return p.last.method == VNT_METHOD_MIP ? p.last.iterations : int64_t{0};
    });
}

int64_t VNTLgetnodecnt(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.last.nodes; });
}

int64_t VNTLgetnodeleftcnt(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.last.nodes_left; });
}

int64_t VNTLgetnodeint(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return p.last.best_node; });
}

// Counts of methods that this solver does not have.

#define ZERO(type, function)                                                                       \
    type function(VNTENVptr env, VNTLPptr lp)                                                      \
    {                                                                                              \
        return count_of(env, lp, [](vntlp &) { return type{0}; });                                 \
    }
#define CONSTANT(function)
#include "solver/calls/constants.def"

// The search.

static answer &search_of(vntlp &p)
{
    require(p.m.typed(), VNTERR_NOT_MIP);
    require(p.last.method == VNT_METHOD_MIP, VNTERR_NO_SOLUTION);
    return p.last;
}

int VNTLgetbestobjval(VNTENVptr env, VNTLPptr lp, double *objval_p)
{
    return with_problem(env, lp, [&](vntlp &p) { put(objval_p, search_of(p).bound); });
}

int VNTLgetmiprelgap(VNTENVptr env, VNTLPptr lp, double *gap_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const answer &last = search_of(p);
        put(gap_p, last.has_solution() ? relative_gap(last.objective, last.bound) : 1e75);
    });
}

int VNTLgetcutoff(VNTENVptr env, VNTLPptr lp, double *cutoff_p)
{
    return with_problem(env, lp, [&](vntlp &p) { put(cutoff_p, search_of(p).cutoff); });
}

// Cuts are not told apart: cuttype 0 asks for all of them.
int VNTLgetnumcuts(VNTENVptr env, VNTLPptr lp, int cuttype, int *num_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(cuttype >= 0, VNTERR_BAD_ARGUMENT);
        put(num_p, cuttype == 0 ? p.last.cuts : 0);
    });
}

// The pool of the search's solutions, best last.

static pool_solution &pooled(vntlp &p, int soln)
{
    require(soln >= 0 && soln < static_cast<int>(p.last.pool.size()), VNTERR_INDEX_RANGE);
    return p.last.pool[soln];
}

int VNTLgetsolnpoolnumsolns(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return static_cast<int>(p.last.pool.size()); });
}

int VNTLgetsolnpoolmeanobjval(VNTENVptr env, VNTLPptr lp, double *meanobjval_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(!p.last.pool.empty(), VNTERR_NO_SOLUTION);
        double sum = 0;
        for (const pool_solution &s : p.last.pool)
            sum += s.objective;
        put(meanobjval_p, sum / static_cast<double>(p.last.pool.size()));
    });
}

// A negative number stands for the solution itself.

int VNTLgetsolnpoolobjval(VNTENVptr env, VNTLPptr lp, int soln, double *objval_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put(objval_p, soln < 0 ? answer_of(p).objective : pooled(p, soln).objective);
    });
}

int VNTLgetsolnpoolx(VNTENVptr env, VNTLPptr lp, int soln, double *x, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_range(soln < 0 ? answer_of(p).x : pooled(p, soln).x, x, begin, end);
    });
}

int VNTLgetsolnpoolslack(VNTENVptr env, VNTLPptr lp, int soln, double *slack, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        if (soln < 0) return put_range(answer_of(p).slack, slack, begin, end);
        put_range(p.m.slacks(pooled(p, soln).x.data()), slack, begin, end);
    });
}

int VNTLgetsolnpoolsolnname(VNTENVptr env, VNTLPptr lp, char *store, int64_t storesz,
                            int64_t *surplus_p, int which)
{
    return with_problem(
        env, lp, [&](vntlp &p) { put_text(pooled(p, which).name, store, storesz, surplus_p); });
}

int VNTLgetsolnpoolsolnindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p)
{
    return with_problem(env, lp, [&](vntlp &p) { put_place(p.last.pool, lname_str, index_p); });
}

int VNTLdelsolnpoolsolns(VNTENVptr env, VNTLPptr lp, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) { erase_range(p.last.pool, begin, end); });
}

int VNTLdelsetsolnpoolsolns(VNTENVptr env, VNTLPptr lp, int *delstat)
{
    return with_problem(env, lp, [&](vntlp &p) { erase_marked(p.last.pool, delstat); });
}
