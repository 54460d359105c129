#include "solver/problem/tableau.h"

#include "solver/engine/guard.h"
#include "solver/engine/measure.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace vnt {

// Tableau elements below this are zeros with rounding errors.
static constexpr double noise = 1e-9;

// The sum of a row's activity and slack.  An infinite right-hand side counts as 0.
static double right_side(const model &m, int i)
{
    return engine_is_inf(m.rhs[i]) ? 0 : m.rhs[i];
}

static engine_columns columns_of(const model &m)
{
    matrix_view cols = m.a.by_column();
    return {m.numrows(), m.numcols(), cols.begin, cols.index, cols.value};
}

tableau::tableau(const model &m, const std::vector<int> &cstat, const std::vector<int> &rstat)
    : m(m), lower(m.lower), upper(m.upper)
{
    for (int i = 0; i < m.numrows(); i++) {
        double b = right_side(m, i);
        lower.push_back(model_number(b - m.row_upper(i)));
        upper.push_back(model_number(b - m.row_lower(i)));
    }
    std::vector<int> basic;
    for (int k = 0; k < numcols() + numrows(); k++) {
        bool slack = k >= numcols();
        where.push_back(place_of(k, slack ? rstat[k - numcols()] : cstat[k]));
        if (where[k] == BASIC) basic.push_back(k);
    }
    require(basic.size() == static_cast<size_t>(numrows()), VNTERR_BAD_BASIS);
    bool regular = false;
    std::string cause;
    int rc = guard_run([&] { regular = factors.factorize(columns_of(m), basic); }, &cause);
    require(rc == 0, rc);
    if (!regular) throw failure{VNTERR_BAD_BASIS, "the basis is singular"};
    places.assign(numcols() + numrows(), -1);
    for (int k = 0; k < numrows(); k++)
        places[head()[k]] = k;
    x = find_values();
    d = find_reduced_costs();
}

// The status of a row is that of its activity; the slack is at the opposite bound.
tableau::place tableau::place_of(int variable, int status) const
{
    bool slack = variable >= numcols();
    double low = lower[variable], high = upper[variable];
    if (status == VNT_BASIS_BASIC) return BASIC;
    if (engine_is_inf(low) && engine_is_inf(high)) return FREE;
    if (low == high) return FIXED;
    if (engine_is_inf(low)) return AT_UPPER;
    if (engine_is_inf(high)) return AT_LOWER;
    return (status == VNT_BASIS_UPPER) == slack ? AT_LOWER : AT_UPPER;
}

double tableau::resting(int variable) const
{
    switch (where[variable]) {
    case AT_LOWER:
    case FIXED: return lower[variable];
    case AT_UPPER: return upper[variable];
    default: return 0;
    }
}

std::vector<double> tableau::unit(int k) const
{
    std::vector<double> e(numrows(), 0.0);
    e[k] = 1;
    return e;
}

std::vector<double> tableau::column(int variable) const
{
    if (variable >= numcols()) return unit(variable - numcols());
    std::vector<double> values(numrows(), 0.0);
    matrix_view cols = m.a.by_column();
    for (int64_t e = cols.begin[variable]; e < cols.begin[variable + 1]; e++)
        values[cols.index[e]] = cols.value[e];
    return values;
}

std::vector<double> tableau::updated(int variable) const
{
    std::vector<double> values = column(variable);
    factors.ftran(values.data());
    return values;
}

// y times the columns and the unit columns.
static std::vector<double> products(const model &m, const std::vector<double> &y)
{
    std::vector<double> minus = y;
    std::transform(y.begin(), y.end(), minus.begin(), std::negate<>());
    std::vector<double> nothing(m.numcols(), 0.0);
    std::vector<double> result =
        matrix_reduced_costs(m.a.by_column(), std::move(nothing), minus.data());
    result.insert(result.end(), y.begin(), y.end());
    return result;
}

std::vector<double> tableau::row(int position) const
{
    std::vector<double> y = unit(position);
    factors.btran(y.data());
    return products(m, y);
}

// Nonbasic columns use up part of the right-hand sides; the basic ones make up the rest.
std::vector<double> tableau::find_values() const
{
    matrix_view cols = m.a.by_column();
    std::vector<double> all, rest(numrows());
    for (int k = 0; k < numcols() + numrows(); k++)
        all.push_back(resting(k));
    for (int i = 0; i < numrows(); i++)
        rest[i] = right_side(m, i) - all[numcols() + i];
    for (int j = 0; j < numcols(); j++) {
        for (int64_t e = cols.begin[j]; e < cols.begin[j + 1]; e++)
            rest[cols.index[e]] -= cols.value[e] * all[j];
    }
    factors.ftran(rest.data());
    for (int p = 0; p < numrows(); p++)
        all[head()[p]] = rest[p];
    return all;
}

std::vector<double> tableau::find_reduced_costs() const
{
    std::vector<double> y(numrows());
    for (int p = 0; p < numrows(); p++)
        y[p] = head()[p] < numcols() ? m.sense * m.objective[head()[p]] : 0;
    factors.btran(y.data());
    std::vector<double> all = products(m, y);
    for (int k = 0; k < numcols() + numrows(); k++)
        all[k] = where[k] == BASIC ? 0 : (k < numcols() ? m.sense * m.objective[k] : 0) - all[k];
    return all;
}

// The ratio test: how far the basic variables may move along a direction until one meets a bound.
value_range tableau::until_infeasible(const std::vector<double> &step) const
{
    value_range range = {-VNT_INFINITY, VNT_INFINITY};
    for (int p = 0; p < numrows(); p++) {
        if (std::fabs(step[p]) < noise) continue;
        int k = head()[p];
        double below = engine_is_inf(lower[k]) ? VNT_INFINITY : std::max(0.0, x[k] - lower[k]);
        double above = engine_is_inf(upper[k]) ? VNT_INFINITY : std::max(0.0, upper[k] - x[k]);
        if (step[p] < 0) std::swap(below, above);
        double size = std::fabs(step[p]);
        if (!engine_is_inf(below)) range.low = std::max(range.low, -below / size);
        if (!engine_is_inf(above)) range.high = std::min(range.high, above / size);
    }
    return range;
}

static value_range moved(double from, value_range by)
{
    return {model_number(from + by.low), model_number(from + by.high)};
}

value_range tableau::cost_range(int j) const
{
    value_range by = {-VNT_INFINITY, VNT_INFINITY}; // of the cost to be minimised
    switch (where[j]) {
    case AT_LOWER: by.low = std::min(0.0, -d[j]); break;
    case AT_UPPER: by.high = std::max(0.0, -d[j]); break;
    case FREE: by = {0, 0}; break;
    case FIXED: break;
    case BASIC: {
        std::vector<double> alpha = row(places[j]);
        for (int k = 0; k < numcols() + numrows(); k++) {
            if (where[k] == BASIC || where[k] == FIXED || std::fabs(alpha[k]) < noise) continue;
            double end = where[k] == FREE ? 0 : d[k] / alpha[k];
            bool rises = where[k] == FREE || (where[k] == AT_LOWER) == (alpha[k] > 0);
            bool falls = where[k] == FREE || !rises;
            if (rises) by.high = std::min(by.high, std::max(0.0, end));
            if (falls) by.low = std::max(by.low, std::min(0.0, end));
        }
    }
    }
    return moved(m.objective[j], m.sense > 0 ? by : value_range{-by.high, -by.low});
}

value_range tableau::rhs_range(int i) const
{
    std::vector<double> step = unit(i);
    factors.ftran(step.data());
    return moved(m.rhs[i], until_infeasible(step));
}

// Between two equal bounds the sign of the reduced cost decides which one is active.
tableau::place tableau::active_place(int variable) const
{
    if (where[variable] != FIXED) return where[variable];
    return d[variable] >= 0 ? AT_LOWER : AT_UPPER;
}

// The range of the bound that a nonbasic variable is at: the variable moves with its bound.
value_range tableau::rest_range(int variable) const
{
    std::vector<double> step = updated(variable);
    for (double &s : step)
        s = -s;
    return moved(x[variable], until_infeasible(step));
}

// A bound that the variable is not at may move up to the variable's value.
value_range tableau::lower_range(int variable) const
{
    if (active_place(variable) != AT_LOWER) return {-VNT_INFINITY, model_number(x[variable])};
    value_range r = rest_range(variable);
    return {r.low, std::min(r.high, upper[variable])}; // beyond it no value is left
}

value_range tableau::upper_range(int variable) const
{
    if (active_place(variable) != AT_UPPER) return {model_number(x[variable]), VNT_INFINITY};
    value_range r = rest_range(variable);
    return {std::max(r.low, lower[variable]), r.high};
}

// A row is at its lower bound where its slack is at the upper one.
static value_range mirrored(double b, value_range slack)
{
    return {model_number(b - slack.high), model_number(b - slack.low)};
}

value_range tableau::row_lower_range(int i) const
{
    return mirrored(right_side(m, i), upper_range(numcols() + i));
}

value_range tableau::row_upper_range(int i) const
{
    return mirrored(right_side(m, i), lower_range(numcols() + i));
}

void tableau::leaving_prices(int j, double *down, double *up) const
{
    std::vector<double> alpha = row(places[j]);
    *down = *up = VNT_INFINITY;
    for (int k = 0; k < numcols() + numrows(); k++) {
        if (where[k] == BASIC || where[k] == FIXED || std::fabs(alpha[k]) < noise) continue;
        double price = std::fabs(d[k] / alpha[k]);
        bool falls = where[k] == FREE || (where[k] == AT_LOWER) == (alpha[k] > 0);
        bool rises = where[k] == FREE || !falls;
        if (falls) *down = std::min(*down, price);
        if (rises) *up = std::min(*up, price);
    }
}

} // namespace vnt
