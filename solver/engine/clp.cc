#include "solver/engine/clp.h"

#include "solver/engine/guard.h"

#include <CoinFinite.hpp>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace vnt {

int engine_events::event(Event which)
{
    switch (which) {
    case endOfIteration: return iteration() ? 0 : -1;
    case endOfFactorization:
    case endOfValuesPass: return poll->tick() ? 0 : -1;
    default:
        // To most of the other events 0 is a different answer than "stop".
        poll->tick();
        return -1;
    }
}

bool engine_events::iteration()
{
    double infeasibility = model_->sumPrimalInfeasibilities();
    bool primal = model_->algorithm() > 0;
    return poll->iteration(model_->objectiveValue(), infeasibility, primal && infeasibility > 0);
}

static std::vector<double> with_infinity(const double *bounds, int count)
{
    std::vector<double> result(bounds, bounds + count);
    for (double &bound : result) {
        if (bound >= VNT_INFINITY) bound = COIN_DBL_MAX;
        if (bound <= -VNT_INFINITY) bound = -COIN_DBL_MAX;
    }
    return result;
}

engine_arrays::engine_arrays(const engine_model &model)
    : col_lower(with_infinity(model.col_lower, model.numcols)),
      col_upper(with_infinity(model.col_upper, model.numcols)),
      row_lower(with_infinity(model.row_lower, model.numrows)),
      row_upper(with_infinity(model.row_upper, model.numrows)),
      objective(model.objective, model.objective + model.numcols)
{
    if (model.begin[model.numcols] > INT_MAX) throw std::length_error("nonzeros");
    begin.assign(model.begin, model.begin + model.numcols + 1);
    for (double &c : objective)
        c *= model.sense;
}

void engine_load(const engine_model &model, const engine_params &params, engine_poll &poll,
                 engine_silence &silence, ClpSimplex *clp)
{
    engine_arrays a(model);
    clp->passInMessageHandler(&silence);
    clp->setLogLevel(0);
    engine_events events(poll);
    clp->passInEventHandler(&events);
    clp->loadProblem(model.numcols, model.numrows, a.begin.data(), model.index, model.value,
                     a.col_lower.data(), a.col_upper.data(), a.objective.data(), a.row_lower.data(),
                     a.row_upper.data());
    clp->setObjectiveOffset(-model.sense * model.offset);
    clp->setPrimalTolerance(params.feasibility);
    clp->setDualTolerance(params.optimality);
    if (params.seed > 0) clp->setRandomSeed(params.seed);
}

bool engine_has_presolve(const engine_model &model, const engine_params &params)
{
    return params.presolve && engine_length(model) < 2e10;
}

// Drops all but the solutions, to which the poll point's caller may hold a pointer.
static void keep_solutions(engine_result *result)
{
    engine_result kept;
    kept.solutions = std::move(result->solutions);
    kept.best_node = result->best_node;
    *result = std::move(kept);
}

// An abort is reported to the caller's log and to standard error, which is the log of a worker: an
// administrator sees it there even if no program reads the other.
static int attempt(engine_poll &poll, const char *next, const std::function<void()> &solve,
                   bool *aborted)
{
    std::string cause;
    int rc = guard_run(solve, &cause);
    *aborted = !cause.empty();
    if (!*aborted) return rc;
    poll.recover();
    fprintf(stderr, "The engine aborted in %.150s%s.\n", cause.c_str(), next);
    poll.log(0, *next != 0 ? 1 : 2, "The engine aborted in %.150s%s.\n", cause.c_str(), next);
    return rc;
}

int engine_last_attempt(engine_poll &poll, const std::function<void()> &solve)
{
    bool aborted = false;
    return attempt(poll, "", solve, &aborted);
}

// The library takes and gives back some 100 kB at every node, at the end of the heap, which goes
// back to the system each time and comes anew, page by page: a third of the time with small
// problems.  A large block that was given back makes the heap keep as much.
static void keep_heap()
{
    void *volatile block = malloc(8 << 20);
    free(block);
}

int engine_attempts(const engine_model &model, engine_poll &poll, engine_result *result,
                    const std::function<void(bool again)> &solve)
{
    keep_heap();
    bool aborted = false;
    int rc = attempt(
        poll, "; trying again with safer settings", [&] { solve(false); }, &aborted);
    if (aborted) {
        keep_solutions(result);
        rc = engine_last_attempt(poll, [&] { solve(true); });
    }
    if (rc == 0) return 0;
    keep_solutions(result);
    if (result->solutions.empty()) return rc;
    result->status = VNT_STAT_NUMERICAL;
    result->primal_feasible = true;
    result->x = result->solutions.back();
    engine_fill_rows(model, result);
    return rc;
}

} // namespace vnt
