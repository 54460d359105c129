// Mixed-integer problems: a search from its start to its result.

#include "solver/engine/mip_search.h"

#include <CbcCutGenerator.hpp>
#include <ClpSolve.hpp>

#include <algorithm>
#include <cmath>

namespace vnt {

static constexpr double box_size = 1e7; // see boxed()
static constexpr double infinity = std::numeric_limits<double>::infinity();

// The solver interface around a model, silent and without a hand on SIGINT.
static std::unique_ptr<OsiClpSolverInterface> wrap(const engine_model &model,
                                                   const engine_params &params, engine_poll &poll,
                                                   engine_silence &silence)
{
    auto clp = std::make_unique<ClpSimplex>();
    engine_load(model, params, poll, silence, clp.get());
    auto osi = std::make_unique<OsiClpSolverInterface>(clp.release(), true);
    osi->passInMessageHandler(&silence);
    osi->setHintParam(OsiDoReducePrint, true, OsiHintTry);
    ClpSolve options;
    options.setSpecialOption(2, 1);
    osi->setSolveOptions(options);
    osi->setIntParam(OsiMaxNumIterationHotStart, 100);
    for (int j = 0; j < model.numcols; j++)
        if (engine_is_int(model, j)) osi->setInteger(j);
    return osi;
}

void mip_search::run()
{
    result.method = VNT_METHOD_MIP;
    if (engine_trivially_infeasible(model, params.feasibility, &result)) {
        result.status = VNT_STAT_INFEASIBLE;
        return;
    }
    engine_result empty;
    empty.method = VNT_METHOD_MIP;
    if (engine_solve_empty(model, params.feasibility, &empty)) {
        if (separated(empty)) return;
        result = std::move(empty);
        if (result.status == VNT_STAT_OPTIMAL) result.solutions.push_back(result.x);
        return;
    }
    original = wrap(model, params, poll, silence);
    if (!relax()) return;
    start();
    reduce();
    search();
    if (exhausted && lost()) {
        poll.log(1, 1, "Preprocessing has lost a solution: searching without it.\n");
        unreduce();
        search();
    }
    conclude();
}

// Gives a solver the basis of a solved relaxation.  The side that a row without basic status is at
// is left to the solver.
static void start_from(const engine_result &r, OsiClpSolverInterface *osi)
{
    static constexpr CoinWarmStartBasis::Status status[] = {
        CoinWarmStartBasis::atLowerBound, CoinWarmStartBasis::basic,
        CoinWarmStartBasis::atUpperBound, CoinWarmStartBasis::isFree};
    CoinWarmStartBasis basis;
    basis.setSize(static_cast<int>(r.cstat.size()), static_cast<int>(r.rstat.size()));
    for (size_t j = 0; j < r.cstat.size(); j++)
        basis.setStructStatus(static_cast<int>(j), status[r.cstat[j]]);
    for (size_t i = 0; i < r.rstat.size(); i++)
        basis.setArtifStatus(static_cast<int>(i), status[r.rstat[i]]);
    osi->setWarmStart(&basis);
    osi->resolve();
}

// Whether the relaxation's point violates rows that wait beside the problem.  Without a limit it
// has none; then all constraints that wait are wanted.
bool mip_search::separated(const engine_result &relaxed)
{
    if (lazy == nullptr) return false;
    bool any = relaxed.status == VNT_STAT_OPTIMAL     ? lazy->violated(relaxed.x.data(), true)
               : relaxed.status == VNT_STAT_UNBOUNDED ? lazy->all()
                                                      : false;
    if (!any) return false;
    lazy->start_from(relaxed);
    poll.end_round();
    return true;
}

// Solves the relaxation.  False when that was all: it has no feasible point, no limit, or was
// stopped.
bool mip_search::relax()
{
    engine_model relaxation = model;
    relaxation.ctype = nullptr;
    relaxation.num_pairs = 0;
    engine_result r;
    engine_run_lp(relaxation, params, ENGINE_DUAL, true, poll, &r);
    if (separated(r)) return false;
    if (r.status == VNT_STAT_OPTIMAL) {
        raise(model.sense * r.objective);
        start_from(r, original.get());
        return true;
    }
    if (r.status == VNT_STAT_UNBOUNDED) {
        model.num_pairs > 0 ? boxed() : unbounded(r);
        return false;
    }
    result.status = r.status;
    result.farkas = std::move(r.farkas);
    result.proof = r.proof;
    fill();
    return false;
}

// A search without objective.
engine_result mip_search::find_feasible()
{
    std::vector<double> zero(model.numcols, 0.0);
    engine_model feasibility = model;
    feasibility.objective = zero.data();
    feasibility.num_starts = 0;
    poll.ignore_cutoff = poll.feasibility = true;
    engine_result r;
    mip_search(feasibility, params, poll, r, lazy, true).run();
    poll.ignore_cutoff = poll.feasibility = false;
    return r;
}

// Without a limit in its relaxation a problem is unbounded, as its data are rational, unless it has
// no feasible point at all.
void mip_search::unbounded(const engine_result &relaxed)
{
    engine_result r = find_feasible();
    if (r.solutions.empty()) {
        result.status = r.status;
        fill();
        return;
    }
    poll.ignore_cutoff = true; // there is no best value to hold against it
    incumbent.offer(r.solutions.back());
    fill();
    result.status = VNT_STAT_UNBOUNDED;
    result.ray = relaxed.ray;
}

// With pairs, a relaxation without a limit says little.  The search goes on with all columns in a
// box, and where its answer rests there, the rest of the problem decides.
void mip_search::boxed()
{
    engine_arrays box(model);
    for (int j = 0; j < model.numcols; j++) {
        double &lower = box.col_lower[j], &upper = box.col_upper[j];
        if (engine_is_inf(lower)) lower = std::min(-box_size, upper - box_size);
        if (engine_is_inf(upper)) upper = std::max(box_size, lower + box_size);
    }
    engine_model inside = model;
    inside.col_lower = box.col_lower.data();
    inside.col_upper = box.col_upper.data();
    engine_result r;
    mip_search(inside, params, poll, r, lazy, true).run();
    poll.seen.solution = nullptr;
    if (r.status == VNT_STAT_INFEASIBLE) return out_of_box();
    result.status = r.status;
    if (!r.solutions.empty()) settle_boxed(r.solutions.back());
    fill();
}

// Without a solution in the box, the problem is infeasible, or no verdict is possible.
void mip_search::out_of_box()
{
    engine_result r = find_feasible();
    result.status = r.status == VNT_STAT_INFEASIBLE ? r.status
                    : poll.ended() != 0             ? poll.ended()
                                                    : VNT_STAT_NUMERICAL;
    if (!r.solutions.empty()) incumbent.offer(r.solutions.back());
    fill();
}

// The choices of the box's best point are held, and the rest is let out of the box.
void mip_search::settle_boxed(const std::vector<double> &x)
{
    engine_arrays held(model);
    bool touches = false;
    for (int j = 0; j < model.numcols; j++) {
        bool choice = engine_is_int(model, j) && held.col_lower[j] >= 0 && held.col_upper[j] <= 1;
        if (choice) held.col_lower[j] = held.col_upper[j] = std::round(x[j]);
        bool open = engine_is_inf(model.col_lower[j]) || engine_is_inf(model.col_upper[j]);
        touches = touches || (open && std::fabs(x[j]) >= box_size / 2);
    }
    for (int k = 0; k < model.num_pairs; k++)
        if (x[model.pairs[2 * k]] > 0.5) held.col_upper[model.pairs[2 * k + 1]] = 0;
    engine_model rest = model;
    rest.col_lower = held.col_lower.data();
    rest.col_upper = held.col_upper.data();
    rest.ctype = nullptr;
    rest.num_pairs = 0;
    engine_result r;
    engine_run_lp(rest, params, ENGINE_DUAL, true, poll, &r);
    incumbent.offer(x);
    if (r.status == VNT_STAT_UNBOUNDED) {
        result.status = VNT_STAT_UNBOUNDED;
        result.ray = std::move(r.ray);
    } else if (touches && poll.ended() == 0) {
        result.status = VNT_STAT_NUMERICAL;
    }
}

void mip_search::start()
{
    if (nodes_before > 0 && incumbent.has_solution()) return; // tried in an earlier round
    for (int k = 0; k < model.num_starts && poll.ended() == 0; k++)
        if (!try_start(model.starts[k])) poll.log(1, 1, "Start %d is not feasible.\n", k + 1);
}

// One of the caller's starts: its integer columns are held, the others found.
bool mip_search::try_start(const double *given)
{
    std::vector<double> x =
        engine_fixandsolve(model, params, poll, std::vector<double>(given, given + model.numcols));
    if (x.empty()) return false;
    if (engine_fraction(model, x.data()) <= params.integrality)
        incumbent.offer(std::move(x));
    else
        complete_start(given);
    return true;
}

// A start that leaves integer columns open is completed by a short search.
void mip_search::complete_start(const double *given)
{
    engine_arrays held(model);
    for (int j = 0; j < model.numcols; j++)
        if (engine_is_int(model, j) && !std::isnan(given[j]))
            held.col_lower[j] = held.col_upper[j] = std::round(given[j]);
    engine_model rest = model;
    rest.col_lower = held.col_lower.data();
    rest.col_upper = held.col_upper.data();
    rest.num_starts = 0;
    engine_params brief = params;
    brief.node_limit = 200;
    brief.solution_limit = INT64_MAX;
    engine_result r;
    mip_search(rest, brief, poll, r, lazy, true).run();
    poll.seen.solution = nullptr;
    if (!r.solutions.empty()) incumbent.offer(r.solutions.back());
}

void mip_search::search()
{
    if (poll.ended() != 0) return;
    reduced->setIntParam(OsiMaxNumIterationHotStart, 100);
    if (reduced->getNumCols() == 0 || reduced->getNumIntegers() == 0) {
        leaf();
        return;
    }
    cbc = std::make_unique<CbcModel>(*reduced);
    setup();
    poll.at_end = [this] { cbc->setMaximumSeconds(-1); }; // the search looks there most often
    poll.seen.search = true;
    if (poll.ended() == 0) cbc->initialSolve();
    if (poll.ended() == 0) cbc->branchAndBound();
    poll.at_end = nullptr;
    exhausted = poll.ended() == 0 && cbc->status() == 0;
    result.cuts = 0;
    for (int i = 0; i < cbc->numberCutGenerators(); i++)
        result.cuts += cbc->cutGenerator(i)->numberCutsActive();
}

// What preprocessing left has no integer column: a linear problem.
void mip_search::leaf()
{
    reduced->resolve();
    if (reduced->isProvenOptimal()) {
        claimed = reduced->getObjValue();
        incumbent.offer(lift(reduced->getColSolution()));
    }
    exhausted = poll.ended() == 0;
}

// The status of a search that came to its end by itself.
int mip_search::verdict()
{
    double best = incumbent.value(), cutoff = poll.cutoff();
    bool on_gap = cbc != nullptr && cbc->secondaryStatus() == 2;
    raise(on_gap ? cbc->getBestPossibleObjValue() : infinity);
    if (std::isfinite(cutoff) && best > cutoff + 1e-9 * std::max(1.0, std::fabs(cutoff)))
        return VNT_STAT_CUTOFF;
    if (!incumbent.has_solution()) return VNT_STAT_INFEASIBLE;
    bool closed = best - bound <= 1e-9 * std::max(1.0, std::fabs(best));
    return closed ? VNT_STAT_OPTIMAL : VNT_STAT_OPTIMAL_TOLERANCE;
}

void mip_search::conclude()
{
    if (exhausted)
        result.status = verdict();
    else if (poll.ended() != 0)
        result.status = poll.ended();
    else
        result.status = cbc->isNodeLimitReached() ? VNT_STAT_NODE_LIMIT : VNT_STAT_NUMERICAL;
    if (cbc != nullptr && !inner) poll.seen.nodes = nodes_before + cbc->getNodeCount();
    fill();
}

void mip_search::fill()
{
    result.cutoff = model.sense * std::min(poll.cutoff(), VNT_INFINITY);
    result.bound = model.sense * std::clamp(bound, -VNT_INFINITY, VNT_INFINITY);
    result.iterations = poll.seen.iterations;
    result.phase1_iterations = poll.phase1_iterations;
    result.nodes = poll.seen.nodes;
    result.nodes_left = exhausted ? 0 : poll.seen.nodes_left;
    result.ticks = poll.seen.ticks;
    if (!incumbent.has_solution()) return;
    result.x = result.solutions.back();
    result.primal_feasible = true;
    engine_fill_rows(model, &result);
    if (result.status == VNT_STAT_OPTIMAL) result.bound = result.objective;
}

int engine_solve_mip(const engine_model &model, const engine_params &params,
                     const engine_hooks &hooks, engine_result *result)
{
    *result = engine_result();
    engine_poll poll(params, hooks, model.sense);
    engine_lazy_rows lazy(model, params.feasibility);
    return engine_attempts(model, poll, result, [&](bool again) {
        engine_params safer = params;
        safer.cuts = 0; // most aborts come from the counting of cuts
        do {
            lazy.join();
            mip_search(lazy.model(), again ? safer : params, poll, *result, &lazy).run();
        } while (poll.next_round());
    });
}

} // namespace vnt
