#include "solver/engine/measure.h"

#include "solver/model/matrix.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>

namespace vnt {

// Values below this, relative to the largest beside them, are what arithmetic leaves of a zero.
static constexpr double noise = 1e-9;

bool engine_ints_bounded(const engine_model &model)
{
    for (int j = 0; j < model.numcols; j++)
        if (engine_is_int(model, j) &&
            (engine_is_inf(model.col_lower[j]) || engine_is_inf(model.col_upper[j])))
            return false;
    return true;
}

double engine_length(const engine_model &model)
{
    std::vector<double> rows(model.numrows, 0.0);
    double sum = 0;
    for (int j = 0; j < model.numcols; j++) {
        double length = static_cast<double>(model.begin[j + 1] - model.begin[j]);
        sum += length * length;
        for (int64_t k = model.begin[j]; k < model.begin[j + 1]; k++)
            rows[model.index[k]]++;
    }
    for (double length : rows)
        sum += length * length;
    return sum;
}

double engine_objective(const engine_model &model, const double *x)
{
    double sum = 0;
    for (int j = 0; j < model.numcols; j++)
        sum += model.objective[j] * x[j];
    return sum + model.offset;
}

std::vector<double> engine_activity(const engine_model &model, const double *x)
{
    std::vector<double> activity(model.numrows, 0.0);
    for (int j = 0; j < model.numcols; j++) {
        if (x[j] == 0) continue;
        for (int64_t k = model.begin[j]; k < model.begin[j + 1]; k++)
            activity[model.index[k]] += model.value[k] * x[j];
    }
    return activity;
}

std::vector<double> engine_reduced_costs(const engine_model &model, const double *c,
                                         const double *y)
{
    std::vector<double> costs(model.numcols, 0.0);
    if (c != nullptr) std::copy_n(c, model.numcols, costs.begin());
    return matrix_reduced_costs({model.begin, model.index, model.value}, std::move(costs), y);
}

// Whether all costs are whole numbers when multiplied by scale; their common divisor if so.
static bool common_divisor(const engine_model &model, double scale, int64_t *divisor)
{
    *divisor = 0;
    for (int j = 0; j < model.numcols; j++) {
        double cost = std::fabs(model.objective[j]) * scale;
        if (cost > 1e9 || std::fabs(cost - std::round(cost)) > 1e-9 * cost) return false;
        *divisor = std::gcd(*divisor, std::llround(cost));
    }
    return true;
}

double engine_objective_step(const engine_model &model)
{
    for (int j = 0; j < model.numcols; j++)
        if (model.objective[j] != 0 && !engine_is_int(model, j)) return 0;
    for (double scale : {1.0, 10.0, 100.0, 1000.0, 1e4}) {
        int64_t divisor;
        if (common_divisor(model, scale, &divisor)) return static_cast<double>(divisor) / scale;
    }
    return 0;
}

static double outside(double value, double lower, double upper)
{
    if (std::isnan(value)) return VNT_INFINITY;
    double worst = 0;
    if (!engine_is_inf(lower)) worst = (lower - value) / std::max(1.0, std::fabs(lower));
    if (!engine_is_inf(upper))
        worst = std::max(worst, (value - upper) / std::max(1.0, std::fabs(upper)));
    return worst;
}

double engine_violation(const engine_model &model, const double *x)
{
    double worst = 0;
    for (int j = 0; j < model.numcols; j++)
        worst = std::max(worst, outside(x[j], model.col_lower[j], model.col_upper[j]));
    std::vector<double> activity = engine_activity(model, x);
    for (int i = 0; i < model.numrows; i++)
        worst = std::max(worst, outside(activity[i], model.row_lower[i], model.row_upper[i]));
    for (int k = 0; k < model.num_pairs; k++)
        if (x[model.pairs[2 * k]] > 0.5)
            worst = std::max(worst, std::fabs(x[model.pairs[2 * k + 1]]));
    return worst;
}

double engine_fraction(const engine_model &model, const double *x)
{
    double worst = 0;
    for (int j = 0; j < model.numcols; j++)
        if (engine_is_int(model, j)) worst = std::max(worst, std::fabs(x[j] - std::round(x[j])));
    return worst;
}

// A price may be positive where the value is at its lower bound, negative where it is at its upper.
static double wrong_sign(double price, double value, double lower, double upper)
{
    constexpr double near = 1e-6;
    bool at_lower =
        !engine_is_inf(lower) && value <= lower + near * std::max(1.0, std::fabs(lower));
    bool at_upper =
        !engine_is_inf(upper) && value >= upper - near * std::max(1.0, std::fabs(upper));
    if (price > 0) return at_lower ? 0 : price;
    return at_upper ? 0 : -price;
}

double engine_dual_violation(const engine_model &model, const engine_result &result)
{
    double worst = 0;
    for (int j = 0; j < model.numcols; j++)
        worst = std::max(worst, wrong_sign(model.sense * result.dj[j], result.x[j],
                                           model.col_lower[j], model.col_upper[j]));
    for (int i = 0; i < model.numrows; i++)
        worst = std::max(worst, wrong_sign(model.sense * result.pi[i], result.activity[i],
                                           model.row_lower[i], model.row_upper[i]));
    return worst;
}

static bool crossed(double lower, double upper, double tolerance)
{
    return lower > upper + tolerance || lower >= VNT_INFINITY || upper <= -VNT_INFINITY;
}

static double distance(double lower, double upper)
{
    return lower > upper ? lower - upper : VNT_INFINITY; // both infinite, on the same side
}

// Where a column allows nothing, no weights are needed: the proof is the distance of its bounds.
static double crossing(const engine_model &model, int j, double tolerance)
{
    double lower = model.col_lower[j], upper = model.col_upper[j];
    if (crossed(lower, upper, tolerance)) return distance(lower, upper);
    if (!engine_is_int(model, j)) return 0;
    lower = std::ceil(lower - tolerance);
    upper = std::floor(upper + tolerance);
    return lower > upper ? lower - upper : 0;
}

// What a row asks of columns that cannot give it anything.
static double row_asks(const engine_model &model, int i, bool empty, double tolerance)
{
    double lower = model.row_lower[i], upper = model.row_upper[i];
    if (crossed(lower, upper, tolerance)) return distance(lower, upper);
    if (!empty) return 0;
    return lower > tolerance ? lower : upper < -tolerance ? upper : 0;
}

bool engine_trivially_infeasible(const engine_model &model, double tolerance, engine_result *result)
{
    result->farkas.assign(model.numrows, 0.0);
    for (int j = 0; j < model.numcols && result->proof == 0; j++)
        result->proof = crossing(model, j, tolerance);
    std::vector<char> used(model.numrows, 0);
    for (int64_t k = 0; k < model.begin[model.numcols]; k++)
        used[model.index[k]] = model.value[k] != 0;
    for (int i = 0; i < model.numrows && result->proof == 0; i++) {
        double by = row_asks(model, i, used[i] == 0, tolerance);
        result->proof = std::fabs(by);
        if (by != 0) result->farkas[i] = by > 0 ? 1 : -1;
    }
    if (result->proof == 0) result->farkas.clear();
    return result->proof != 0;
}

// The best value of a column that stands alone, and whether there is one.
static bool best_alone(const engine_model &model, int j, double tolerance, double *value)
{
    double lower = model.col_lower[j], upper = model.col_upper[j];
    if (engine_is_int(model, j)) {
        lower = std::ceil(lower - tolerance);
        upper = std::floor(upper + tolerance);
    }
    double cost = model.sense * model.objective[j];
    double wanted = cost > 0 ? lower : cost < 0 ? upper : engine_is_inf(lower) ? upper : lower;
    if (!engine_is_inf(wanted)) {
        *value = wanted;
        return true;
    }
    *value = std::clamp(0.0, lower, upper);
    return cost == 0;
}

static int nonbasic_status(double value, double lower, double upper)
{
    if (value == lower) return VNT_BASIS_LOWER;
    return value == upper ? VNT_BASIS_UPPER : VNT_BASIS_FREE;
}

bool engine_solve_empty(const engine_model &model, double tolerance, engine_result *result)
{
    if (model.begin[model.numcols] > 0) return false;
    result->bound = model.sense * -VNT_INFINITY;
    result->x.assign(model.numcols, 0.0);
    result->ray.assign(model.numcols, 0.0);
    result->cstat.resize(model.numcols);
    result->rstat.assign(model.numrows, VNT_BASIS_BASIC);
    bool bounded = true;
    for (int j = 0; j < model.numcols; j++) {
        if (!best_alone(model, j, tolerance, &result->x[j])) {
            bounded = false;
            result->ray[j] = model.sense * model.objective[j] > 0 ? -1 : 1;
        }
        result->cstat[j] = nonbasic_status(result->x[j], model.col_lower[j], model.col_upper[j]);
    }
    result->primal_feasible = true;
    result->dual_feasible = bounded;
    result->status = bounded ? VNT_STAT_OPTIMAL : VNT_STAT_UNBOUNDED;
    engine_fill_rows(model, result);
    if (!bounded) return true;
    result->ray.clear();
    result->bound = result->objective;
    result->pi.assign(model.numrows, 0.0);
    result->dj.assign(model.objective, model.objective + model.numcols);
    return true;
}

static double largest(const std::vector<double> &v)
{
    double most = 0;
    for (double a : v)
        most = std::max(most, std::fabs(a));
    return most;
}

double engine_infeasibility_proof(const engine_model &model, const std::vector<double> &y)
{
    double scale = largest(y), asked = 0, reach = 0, size = 0;
    if (scale == 0 || !std::isfinite(scale)) return 0;
    for (int i = 0; i < model.numrows; i++) {
        if (std::fabs(y[i]) <= noise * scale) continue;
        double bound = y[i] > 0 ? model.row_lower[i] : model.row_upper[i];
        if (engine_is_inf(bound)) return 0;
        asked += y[i] * bound;
        size = std::max(size, std::fabs(y[i] * bound));
    }
    std::vector<double> weight = engine_reduced_costs(model, nullptr, y.data());
    double most = std::max(scale, largest(weight));
    for (int j = 0; j < model.numcols; j++) {
        double g = -weight[j];
        double bound = g > 0 ? model.col_upper[j] : model.col_lower[j];
        if (engine_is_inf(bound)) {
            if (std::fabs(g) > noise * most) return 0;
            continue;
        }
        reach += g * bound;
        size = std::max(size, std::fabs(g * bound));
    }
    return asked - reach > noise * size ? asked - reach : 0;
}

bool engine_proves_unbounded(const engine_model &model, const std::vector<double> &d)
{
    double scale = largest(d);
    if (scale == 0 || !std::isfinite(scale)) return false;
    auto leaves = [](double step, double size, double lower, double upper) {
        if (std::fabs(step) <= noise * size) return false;
        return !engine_is_inf(step > 0 ? upper : lower);
    };
    double gain = 0, costs = 0;
    for (int j = 0; j < model.numcols; j++) {
        if (leaves(d[j], scale, model.col_lower[j], model.col_upper[j])) return false;
        gain += model.sense * model.objective[j] * d[j];
        costs = std::max(costs, std::fabs(model.objective[j]));
    }
    std::vector<double> step = engine_activity(model, d.data());
    double most = std::max(scale, largest(step));
    for (int i = 0; i < model.numrows; i++)
        if (leaves(step[i], most, model.row_lower[i], model.row_upper[i])) return false;
    return gain < -noise * scale * costs;
}

void engine_fill_rows(const engine_model &model, engine_result *result)
{
    result->objective = engine_objective(model, result->x.data());
    result->activity = engine_activity(model, result->x.data());
    result->slack.resize(model.numrows);
    for (int i = 0; i < model.numrows; i++) {
        double lower = model.row_lower[i], upper = model.row_upper[i];
        double side = !engine_is_inf(upper) ? upper : !engine_is_inf(lower) ? lower : 0;
        result->slack[i] = side - result->activity[i];
    }
}

} // namespace vnt
