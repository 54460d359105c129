#include "solver/model/infeasibility.h"

#include <algorithm>
#include <cmath>

namespace vnt {

static double beyond(double value, double low, double high)
{
    if (value > high) return value - high;
    return value < low ? value - low : 0;
}

std::vector<double> row_infeasibilities(const model &m, const double *x)
{
    std::vector<double> out = m.activities(x);
    for (int i = 0; i < m.numrows(); i++)
        out[i] = beyond(out[i], m.row_lower(i), m.row_upper(i));
    return out;
}

// A semi-continuous column may also be 0; the nearer of 0 and its range counts.
std::vector<double> column_infeasibilities(const model &m, const double *x)
{
    std::vector<double> out;
    for (int j = 0; j < m.numcols(); j++) {
        bool semi = m.discrete() && (m.ctype[j] == 'S' || m.ctype[j] == 'N');
        double missed = beyond(x[j], m.lower[j], m.upper[j]);
        out.push_back(semi && std::fabs(x[j]) < std::fabs(missed) ? x[j] : missed);
    }
    return out;
}

std::vector<double> integer_infeasibilities(const model &m, const double *x)
{
    std::vector<double> out;
    for (int j = 0; j < m.numcols(); j++) {
        bool integer = m.discrete() && m.ctype[j] != 'C' && m.ctype[j] != 'S';
        out.push_back(integer ? x[j] - std::round(x[j]) : 0);
    }
    return out;
}

// The sum of the magnitudes other than those of the best column, or pair of neighbours, to be
// nonzero.
static double set_infeasibility(const special_set &s, const double *x)
{
    std::vector<std::pair<double, double>> columns; // weight, magnitude
    double all = 0, best = 0;
    for (size_t k = 0; k < s.index.size(); k++) {
        columns.emplace_back(s.weight[k], std::fabs(x[s.index[k]]));
        all += columns.back().second;
    }
    std::stable_sort(columns.begin(), columns.end(),
                     [](const auto &a, const auto &b) { return a.first < b.first; });
    for (size_t k = 0; k < columns.size(); k++) {
        bool second = s.type == '2' && k + 1 < columns.size();
        best = std::max(best, columns[k].second + (second ? columns[k + 1].second : 0));
    }
    return all - best;
}

std::vector<double> set_infeasibilities(const model &m, const double *x)
{
    std::vector<double> out;
    for (const special_set &s : m.sets)
        out.push_back(set_infeasibility(s, x));
    return out;
}

std::vector<double> lazy_infeasibilities(const model &m, const double *x)
{
    std::vector<double> out;
    for (const row_beside &r : m.lazies) {
        double activity = 0;
        for (size_t k = 0; k < r.index.size(); k++)
            activity += r.value[k] * x[r.index[k]];
        out.push_back(beyond(activity, r.sense == 'L' ? -VNT_INFINITY : r.rhs,
                             r.sense == 'G' ? VNT_INFINITY : r.rhs));
    }
    return out;
}

// A constraint whose indicator is off at the point is not violated.
std::vector<double> indicator_infeasibilities(const model &m, const double *x)
{
    std::vector<double> out;
    for (const indicator &c : m.indicators) {
        double slack = m.indicator_slack(c, x);
        bool holds = (x[c.column] > 0.5) != c.complemented;
        bool below = c.sense != 'G' && slack < 0, above = c.sense != 'L' && slack > 0;
        out.push_back(holds && (below || above) ? -slack : 0);
    }
    return out;
}

size_t greatest(const std::vector<double> &values)
{
    auto less = [](double a, double b) { return std::fabs(a) < std::fabs(b); };
    return static_cast<size_t>(std::max_element(values.begin(), values.end(), less) -
                               values.begin());
}

} // namespace vnt
