// Continuous problems.

#include "solver/engine/barrier.h"

#include <ClpSolve.hpp>

#include <algorithm>
#include <cmath>
#include <memory>

namespace vnt {

namespace {

class lp_solve {
  public:
    lp_solve(const engine_model &model, const engine_params &params, engine_poll &poll,
             engine_result *result)
        : model(model), params(params), poll(poll), result(*result)
    {
    }
    void run(engine_method method, bool crossover);

  private:
    bool solved_already();
    void load();
    void solve(engine_method method, bool crossover);
    void settle();
    void be_exact();
    void take_proof(std::vector<double> weights);
    bool find_ray();
    void prove();
    bool is_basis() const;
    void settle_basis();
    bool doubtful(bool basis) const;
    int verdict();
    void fill(bool basis);
    void fill_basis();

    const engine_model &model;
    const engine_params &params;
    engine_poll &poll;
    engine_silence silence;
    std::unique_ptr<ClpSimplex> clp;
    engine_result &result;
};

int method_number(engine_method method)
{
    switch (method) {
    case ENGINE_PRIMAL: return VNT_METHOD_PRIMAL;
    case ENGINE_DUAL: return VNT_METHOD_DUAL;
    default: return VNT_METHOD_BARRIER;
    }
}

bool lp_solve::solved_already()
{
    if (engine_trivially_infeasible(model, params.feasibility, &result)) {
        result.status = VNT_STAT_INFEASIBLE;
        return true;
    }
    return engine_solve_empty(model, params.feasibility, &result);
}

ClpSimplex::Status row_status(int status, double lower, double upper)
{
    if (status == VNT_BASIS_BASIC) return ClpSimplex::basic;
    bool is_lower = !engine_is_inf(lower), is_upper = !engine_is_inf(upper);
    if (is_lower && is_upper && lower != upper)
        return status == VNT_BASIS_UPPER ? ClpSimplex::atUpperBound : ClpSimplex::atLowerBound;
    if (is_upper) return ClpSimplex::atUpperBound;
    return is_lower ? ClpSimplex::atLowerBound : ClpSimplex::isFree;
}

ClpSimplex::Status col_status(int status, double lower, double upper)
{
    if (status == VNT_BASIS_BASIC) return ClpSimplex::basic;
    bool is_lower = !engine_is_inf(lower), is_upper = !engine_is_inf(upper);
    if (status == VNT_BASIS_UPPER && is_upper) return ClpSimplex::atUpperBound;
    if (status == VNT_BASIS_FREE && !is_lower && !is_upper) return ClpSimplex::isFree;
    if (is_lower) return ClpSimplex::atLowerBound;
    return is_upper ? ClpSimplex::atUpperBound : ClpSimplex::isFree;
}

void lp_solve::load()
{
    clp = std::make_unique<ClpSimplex>();
    engine_load(model, params, poll, silence, clp.get());
}

void lp_solve::solve(engine_method method, bool crossover)
{
    bool warm = model.cstat != nullptr && model.rstat != nullptr && method != ENGINE_BARRIER;
    if (warm) {
        engine_start_basis(model, clp.get());
        method == ENGINE_PRIMAL ? clp->primal() : clp->dual();
        return;
    }
    if (method == ENGINE_BARRIER) {
        engine_run_barrier(model, params, poll, crossover, clp.get());
        return;
    }
    ClpSolve options;
    engine_limit_presolve(model, &options);
    bool presolve = engine_has_presolve(model, params);
    options.setPresolveType(presolve ? ClpSolve::presolveOn : ClpSolve::presolveOff);
    options.setSpecialOption(2, 1); // leaves SIGINT alone
    if (method == ENGINE_PRIMAL) {
        options.setSolveType(ClpSolve::usePrimal);
        options.setSpecialOption(1,
                                 4); // from slacks: the other starts print, and run long unpolled
    } else {
        options.setSolveType(ClpSolve::useDual);
    }
    clp->initialSolve(options);
}

// Noise in weights that prove something would keep them from it where it meets an infinite bound.
void lp_solve::take_proof(std::vector<double> weights)
{
    double most = 0;
    for (double w : weights)
        most = std::max(most, std::fabs(w));
    for (double &w : weights)
        if (std::fabs(w) <= 1e-9 * most) w = 0;
    double proof = engine_infeasibility_proof(model, weights);
    if (proof <= 0) return;
    result.farkas = std::move(weights);
    result.proof = proof;
}

// Keeps the ray that comes with "infeasible" or "unbounded" if it proves that; it has no sign that
// one could rely on.
bool lp_solve::find_ray()
{
    bool infeasible = clp->status() == 1;
    if (!infeasible && clp->status() != 2) return false;
    std::unique_ptr<double[]> raw(infeasible ? clp->infeasibilityRay() : clp->unboundedRay());
    if (raw == nullptr) return false;
    std::vector<double> ray(raw.get(), raw.get() + (infeasible ? model.numrows : model.numcols));
    for (int turn = 0; turn < 2; turn++) {
        if (infeasible) take_proof(ray);
        if (!infeasible && engine_proves_unbounded(model, ray)) result.ray = ray;
        if (!result.farkas.empty() || !result.ray.empty()) return true;
        for (double &v : ray)
            v = 0 - v; // no -0
    }
    return false;
}

// Unscaled numbers are the model's.  In them the engine is lenient with the reduced costs of free
// columns, so that the tolerance makes up for that.
void lp_solve::be_exact()
{
    clp->scaling(0);
    clp->setDualTolerance(std::min(params.optimality, 1e-9));
}

// "Infeasible" and "unbounded" are taken with a proof alone: the engine mixes them up when the
// method that finds out is not the one that can tell, and gives up on some problems that are both.
// Without a proof the problem is solved afresh and without its objective, which says whether it is
// feasible; if so the primal method goes on from there with the objective.
void lp_solve::settle()
{
    bool feasible = engine_violation(model, result.x.data()) <= params.feasibility;
    if (find_ray() && (clp->status() == 1 || feasible)) return;
    result.ray.clear();
    result.farkas.clear();
    load();
    be_exact();
    std::vector<double> objective(clp->objective(), clp->objective() + model.numcols);
    std::fill_n(clp->objective(), model.numcols, 0.0);
    clp->dual();
    if (clp->status() != 0 && !find_ray() && poll.ended() == 0) {
        clp->allSlackBasis(true);
        clp->primal();
    }
    std::copy(objective.begin(), objective.end(), clp->objective());
    if (clp->status() != 0 || poll.ended() != 0) return;
    clp->primal();
    find_ray();
}

// Weights that prove infeasibility, by a problem that is always feasible: every row may miss its
// bounds, at a price, and as little as possible is missed.  The row prices are the weights.
void lp_solve::prove()
{
    load();
    be_exact();
    std::fill_n(clp->objective(), model.numcols, 0.0);
    for (int i = 0; i < model.numrows; i++)
        for (double sign : {1.0, -1.0})
            clp->addColumn(1, &i, &sign, 0, COIN_DBL_MAX, 1);
    clp->primal();
    const double *weights = clp->dualRowSolution();
    if (clp->status() == 0) take_proof(std::vector<double>(weights, weights + model.numrows));
}

// Whether a place that is not basic is at a bound that it has, or at 0 without any.
static bool rests(ClpSimplex::Status status, double value, double lower, double upper)
{
    double near = 1e-6 * std::max(1.0, std::fabs(value));
    switch (status) {
    case ClpSimplex::basic: return true;
    case ClpSimplex::isFree: return engine_is_inf(lower) && engine_is_inf(upper) && value == 0;
    case ClpSimplex::superBasic: return false;
    case ClpSimplex::atUpperBound: return !engine_is_inf(upper) && value >= upper - near;
    default: return !engine_is_inf(lower) && value <= lower + near;
    }
}

// Whether the statuses are a basis for the point.  Presolve's undoing and the crossover leave too
// many basic places at times, and others at bounds that they have not.
bool lp_solve::is_basis() const
{
    int basic = 0;
    for (int j = 0; j < model.numcols; j++) {
        ClpSimplex::Status s = clp->getColumnStatus(j);
        basic += s == ClpSimplex::basic;
        if (!rests(s, result.x[j], model.col_lower[j], model.col_upper[j])) return false;
    }
    for (int i = 0; i < model.numrows; i++) {
        ClpSimplex::Status s = clp->getRowStatus(i);
        basic += s == ClpSimplex::basic;
        if (!rests(s, result.activity[i], model.row_lower[i], model.row_upper[i])) return false;
    }
    return basic == model.numrows;
}

// Puts a place that is not basic at the bound that is nearest, or at 0 without any.
static ClpSimplex::Status nearest(ClpSimplex::Status status, double value, double lower,
                                  double upper)
{
    if (status == ClpSimplex::basic) return status;
    bool is_lower = !engine_is_inf(lower), is_upper = !engine_is_inf(upper);
    if (is_lower && is_upper && upper - value < value - lower) return ClpSimplex::atUpperBound;
    if (is_lower) return ClpSimplex::atLowerBound;
    return is_upper ? ClpSimplex::atUpperBound : ClpSimplex::isFree;
}

// Moves to a basis from an optimum without one: first from where it is, then from the slacks.
void lp_solve::settle_basis()
{
    for (int attempt = 0; attempt < 2 && clp->status() == 0 && !is_basis(); attempt++) {
        if (attempt == 1) load();
        for (int j = 0; j < model.numcols && attempt == 0; j++)
            clp->setColumnStatus(j, nearest(clp->getColumnStatus(j), result.x[j],
                                            model.col_lower[j], model.col_upper[j]));
        for (int i = 0; i < model.numrows && attempt == 0; i++)
            clp->setRowStatus(i, nearest(clp->getRowStatus(i), result.activity[i],
                                         model.row_lower[i], model.row_upper[i]));
        clp->primal();
        fill(true);
    }
}

// Whether to go over it once more: the engine gave up; what is feasible in its scaled numbers is
// not in the model's; or the barrier method took an unbounded problem for a solved one.
bool lp_solve::doubtful(bool basis) const
{
    if (clp->status() != 0) return clp->status() == 4;
    double costs = 1;
    for (int j = 0; j < model.numcols; j++)
        costs = std::max(costs, std::fabs(model.objective[j]));
    return engine_violation(model, result.x.data()) > 10 * params.feasibility ||
           engine_dual_violation(model, result) > (basis ? 10 * params.optimality : 1e-3) * costs;
}

// The status of the engine in our terms.
int lp_solve::verdict()
{
    switch (clp->status()) {
    case 0: return VNT_STAT_OPTIMAL;
    case 1: return VNT_STAT_INFEASIBLE;
    case 2: return VNT_STAT_UNBOUNDED;
    case 3: return VNT_STAT_ITERATION_LIMIT;
    default: return VNT_STAT_NUMERICAL;
    }
}

void lp_solve::run(engine_method method, bool crossover)
{
    result.method = method_number(method);
    result.cutoff = model.sense * VNT_INFINITY;
    result.bound = model.sense * -VNT_INFINITY;
    if (solved_already()) return;
    load();
    solve(method, crossover);
    bool basis = method != ENGINE_BARRIER || crossover;
    fill(basis);
    if (poll.ended() == 0 && doubtful(basis)) {
        be_exact();
        clp->primal();
        fill(basis);
    }
    if (poll.ended() == 0 && clp->status() != 0) {
        settle();
        fill(basis);
    }
    if (poll.ended() == 0 && clp->status() == 0 && basis) settle_basis();
    if (poll.ended() == 0 && clp->status() == 1 && result.farkas.empty()) prove();
}

void lp_solve::fill(bool basis)
{
    result.status = verdict();
    if (poll.ended() != 0 && clp->status() != 0) result.status = poll.ended();
    result.iterations = poll.seen.iterations;
    result.phase1_iterations = poll.phase1_iterations;
    result.barrier_iterations = poll.barrier_iterations;
    result.ticks = poll.seen.ticks;
    const double *x = clp->primalColumnSolution();
    result.x.assign(x, x + model.numcols);
    engine_fill_rows(model, &result);
    const double *pi = clp->dualRowSolution(), *dj = clp->dualColumnSolution();
    result.pi.assign(pi, pi + model.numrows);
    result.dj.assign(dj, dj + model.numcols);
    if (model.sense < 0) {
        for (double &v : result.pi)
            v = 0 - v; // no -0
        for (double &v : result.dj)
            v = 0 - v; // no -0
    }
    if (basis) fill_basis();
    bool optimal = result.status == VNT_STAT_OPTIMAL;
    result.primal_feasible =
        optimal || engine_violation(model, result.x.data()) <= params.feasibility;
    result.dual_feasible = optimal || engine_dual_violation(model, result) <= params.optimality;
    if (optimal) result.bound = result.objective;
}

void lp_solve::fill_basis()
{
    auto number = [](ClpSimplex::Status status) -> int {
        switch (status) {
        case ClpSimplex::basic: return VNT_BASIS_BASIC;
        case ClpSimplex::atUpperBound: return VNT_BASIS_UPPER;
        case ClpSimplex::isFree:
        case ClpSimplex::superBasic: return VNT_BASIS_FREE;
        default: return VNT_BASIS_LOWER;
        }
    };
    result.cstat.resize(model.numcols);
    result.rstat.resize(model.numrows);
    for (int j = 0; j < model.numcols; j++)
        result.cstat[j] = number(clp->getColumnStatus(j));
    for (int i = 0; i < model.numrows; i++) {
        bool basic = clp->getRowStatus(i) == ClpSimplex::basic;
        double lower = model.row_lower[i], upper = model.row_upper[i];
        bool ranged = !engine_is_inf(lower) && !engine_is_inf(upper) && lower != upper;
        bool at_upper = ranged && clp->getRowStatus(i) == ClpSimplex::atUpperBound;
        result.rstat[i] = basic ? VNT_BASIS_BASIC : at_upper ? VNT_BASIS_UPPER : VNT_BASIS_LOWER;
    }
}

} // namespace

void engine_start_basis(const engine_model &model, ClpSimplex *clp)
{
    clp->createStatus();
    for (int j = 0; j < model.numcols; j++)
        clp->setColumnStatus(j, col_status(model.cstat[j], model.col_lower[j], model.col_upper[j]));
    for (int i = 0; i < model.numrows; i++)
        clp->setRowStatus(i, row_status(model.rstat[i], model.row_lower[i], model.row_upper[i]));
}

void engine_run_lp(const engine_model &model, const engine_params &params, engine_method method,
                   bool crossover, engine_poll &poll, engine_result *result)
{
    lp_solve(model, params, poll, result).run(method, crossover);
}

int engine_solve_lp(const engine_model &model, const engine_params &params, engine_method method,
                    bool crossover, const engine_hooks &hooks, engine_result *result)
{
    *result = engine_result();
    engine_poll poll(params, hooks, model.sense);
    return engine_attempts(model, poll, result, [&](bool again) {
        engine_model continuous = model;
        continuous.ctype = nullptr;
        continuous.num_pairs = 0;
        engine_params safer = params;
        safer.presolve = 0;
        engine_method other = method == ENGINE_DUAL ? ENGINE_PRIMAL : ENGINE_DUAL;
        engine_run_lp(continuous, again ? safer : params, again ? other : method, crossover, poll,
                      result);
    });
}

} // namespace vnt
