#include "solver/engine/incumbent.h"

#include <algorithm>
#include <cmath>

namespace vnt {

engine_incumbent::engine_incumbent(const engine_model &model, const engine_params &params,
                                   engine_poll &poll, engine_result &result, engine_lazy_rows *lazy)
    : model(model), params(params), poll(poll), result(result), lazy(lazy),
      best(std::numeric_limits<double>::infinity())
{
    found = static_cast<int64_t>(result.solutions.size());
    if (has_solution())
        best = model.sense * engine_objective(model, result.solutions.back().data());
}

static void round_integers(const engine_model &model, std::vector<double> *x)
{
    for (int j = 0; j < model.numcols; j++)
        if (engine_is_int(model, j)) (*x)[j] = std::round((*x)[j]) + 0.0; // no -0
}

std::vector<double> engine_fixandsolve(const engine_model &model, const engine_params &params,
                                       engine_poll &poll, const std::vector<double> &x)
{
    engine_silence silence;
    ClpSimplex clp;
    engine_load(model, params, poll, silence, &clp);
    for (int j = 0; j < model.numcols; j++) {
        if (!engine_is_int(model, j) || std::isnan(x[j])) continue;
        double value = std::round(x[j]);
        if (value < model.col_lower[j] || value > model.col_upper[j]) return {};
        clp.setColumnBounds(j, value, value);
    }
    for (int k = 0; k < model.num_pairs; k++)
        if (x[model.pairs[2 * k]] > 0.5) clp.setColumnUpper(model.pairs[2 * k + 1], 0);
    clp.dual();
    if (clp.status() != 0) return {};
    const double *found = clp.primalColumnSolution();
    return std::vector<double>(found, found + model.numcols);
}

bool engine_incumbent::complete(std::vector<double> *x)
{
    engine_poll::shelter shelter(poll);
    *x = engine_fixandsolve(model, params, poll, *x);
    if (x->empty() || engine_fraction(model, x->data()) > params.integrality) return false;
    round_integers(model, x);
    return engine_violation(model, x->data()) <= 10 * params.feasibility;
}

// Better by more than the noise of the arithmetic.
bool engine_incumbent::better(double value) const
{
    double least = 1e-12 * std::max(1.0, std::fabs(value));
    return value < best - least && value < poll.cutoff() - least;
}

bool engine_incumbent::offer(std::vector<double> x)
{
    if (static_cast<int>(x.size()) != model.numcols) return false;
    if (engine_fraction(model, x.data()) > 1e-4) return false;
    round_integers(model, &x);
    if (engine_violation(model, x.data()) > params.feasibility && !complete(&x)) return false;
    double value = model.sense * engine_objective(model, x.data());
    if (!better(value)) return false;
    if (lazy != nullptr && lazy->violated(x.data(), false)) {
        poll.end_round();
        return false;
    }
    take(std::move(x), value);
    return true;
}

void engine_incumbent::take(std::vector<double> x, double value)
{
    best = value;
    result.best_node = poll.seen.nodes;
    result.solutions.push_back(std::move(x));
    if (result.solutions.size() > kept) result.solutions.erase(result.solutions.begin());
    if (poll.feasibility) return;
    poll.seen.solution = result.solutions.back().data();
    poll.seen.incumbent = model.sense * value;
    poll.seen.solutions = ++found;
    poll.log(1, 3, "* incumbent %.10g after %lld nodes\n", poll.seen.incumbent,
             static_cast<long long>(poll.seen.nodes));
    if (poll.seen.solutions >= params.solution_limit) poll.end(VNT_STAT_SOLUTION_LIMIT);
}

} // namespace vnt
