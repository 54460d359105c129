#include "solver/problem/implied_bounds.h"

#include "solver/engine/measure.h"

#include <cmath>

namespace vnt {

namespace {

// The minimum of a row's activity, with its infinite terms counted apart.
struct least_activity {
    double finite = 0;
    int infinities = 0;

    void add(double coefficient, double bound)
    {
        if (engine_is_inf(bound)) {
            infinities++;
        } else {
            finite += coefficient * bound;
        }
    }
    // The minimum without one term; false if another term is infinite.
    bool without(double coefficient, double bound, double *rest) const
    {
        bool infinite = engine_is_inf(bound);
        *rest = infinite ? finite : finite - coefficient * bound;
        return infinities == static_cast<int>(infinite);
    }
};

// A row: sum of value[k] x[index[k]] <= side.
struct limited_row {
    const int *index;
    const double *value;
    int64_t count;
    double side;
};

// Rounding must not cut off feasible points.
double loosened(double bound, double by)
{
    return bound + by * 1e-7 * std::max(1.0, std::fabs(bound));
}

bool tighten_row(const limited_row &row, double sign, column_bounds *b)
{
    least_activity least;
    for (int64_t k = 0; k < row.count; k++) {
        double a = sign * row.value[k];
        least.add(a, a > 0 ? b->lower[row.index[k]] : b->upper[row.index[k]]);
    }
    if (least.infinities > 1) return false;
    bool changed = false;
    for (int64_t k = 0; k < row.count; k++) {
        double a = sign * row.value[k], rest;
        double &lower = b->lower[row.index[k]], &upper = b->upper[row.index[k]];
        if (std::fabs(a) < 1e-9 || !least.without(a, a > 0 ? lower : upper, &rest)) continue;
        double bound = loosened((row.side - rest) / a, a > 0 ? 1 : -1);
        double step = 1e-3 * std::max(1.0, std::fabs(bound));
        double &mine = a > 0 ? upper : lower;
        if (std::fabs(bound) >= VNT_INFINITY || (a > 0 ? bound > mine - step : bound < mine + step))
            continue;
        mine = bound;
        changed = true;
    }
    return changed;
}

} // namespace

column_bounds implied_bounds(const model &m)
{
    column_bounds b = {m.lower, m.upper};
    for (int j = 0; j < m.numcols(); j++) {
        if (m.ctype.empty() || (m.ctype[j] != 'S' && m.ctype[j] != 'N')) continue;
        b.lower[j] = std::min(b.lower[j], 0.0);
        b.upper[j] = std::max(b.upper[j], 0.0);
    }
    matrix_view rows = m.a.by_row();
    bool changed = true;
    for (int pass = 0; pass < 5 && changed; pass++) {
        changed = false;
        for (int i = 0; i < m.numrows(); i++) {
            int64_t from = rows.begin[i];
            limited_row row = {rows.index + from, rows.value + from, rows.begin[i + 1] - from, 0};
            row.side = m.row_upper(i);
            if (row.side < VNT_INFINITY) changed |= tighten_row(row, 1, &b);
            row.side = -m.row_lower(i);
            if (row.side < VNT_INFINITY) changed |= tighten_row(row, -1, &b);
        }
    }
    return b;
}

} // namespace vnt
