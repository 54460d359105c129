#include "test/cross/certificate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vnt {

namespace {

constexpr double tolerance = 1e-6;

std::string said(const char *what, double by)
{
    char text[100];
    snprintf(text, sizeof text, "%s (%g)", what, by);
    return text;
}

// c - A'y and, beside it, the largest term of each sum.
struct combination {
    std::vector<double> sum, size;
};

combination reduced(const random_model &m, const std::vector<double> &y, double cost)
{
    combination d = {std::vector<double>(m.columns.size()), std::vector<double>(m.columns.size())};
    for (size_t j = 0; j < m.columns.size(); j++) {
        d.sum[j] = cost * m.columns[j].cost;
        d.size[j] = std::max(1.0, std::fabs(d.sum[j]));
    }
    for (size_t i = 0; i < m.rows.size(); i++)
        for (size_t k = 0; k < m.rows[i].index.size(); k++) {
            double term = y[i] * m.rows[i].value[k];
            d.sum[m.rows[i].index[k]] -= term;
            d.size[m.rows[i].index[k]] = std::max(d.size[m.rows[i].index[k]], std::fabs(term));
        }
    return d;
}

// The least of price * value between the bounds; false where it has no limit.
bool least(double price, double size, double lower, double upper, double *value)
{
    double bound = price > 0 ? lower : upper;
    *value = 0;
    if (std::fabs(bound) >= VNT_INFINITY) return std::fabs(price) <= 3 * tolerance * size;
    *value = price * bound;
    return true;
}

// The bound that weights of the rows and prices of the columns give, in the minimising sense.
std::string dual_bound(const random_model &m, const std::vector<double> &y, const combination &d,
                       double sense, double *bound, double *size)
{
    double part;
    for (size_t i = 0; i < m.rows.size(); i++) {
        double most = *std::max_element(
            y.begin(), y.end(), [](double a, double b) { return std::fabs(a) < std::fabs(b); });
        if (!least(sense * y[i], std::max(1.0, std::fabs(most)), m.rows[i].lower, m.rows[i].upper,
                   &part))
            return said("a price of the wrong sign on a row", y[i]);
        *bound += part;
        *size = std::max(*size, std::fabs(part));
    }
    for (size_t j = 0; j < m.columns.size(); j++) {
        if (!least(sense * d.sum[j], d.size[j], m.columns[j].lower, m.columns[j].upper, &part))
            return said("a reduced cost of the wrong sign", d.sum[j]);
        *bound += part;
        *size = std::max(*size, std::fabs(part));
    }
    return {};
}

std::string optimal_fault(const random_model &m, const solver_answer &a)
{
    if (!a.prices) return "an optimum without prices";
    combination d = reduced(m, a.pi, 1);
    for (size_t j = 0; j < m.columns.size(); j++)
        if (std::fabs(d.sum[j] - a.dj[j]) > tolerance * d.size[j])
            return said("a reduced cost that the prices do not give", a.dj[j]);
    double bound = m.sense * m.offset, size = std::max(1.0, std::fabs(a.objective));
    std::string wrong = dual_bound(m, a.pi, d, m.sense, &bound, &size);
    if (!wrong.empty()) return wrong;
    double gap = m.sense * a.objective - bound;
    return std::fabs(gap) > 10 * tolerance * size ? said("a gap to the prices' bound", gap) : "";
}

std::string infeasible_fault(const random_model &m, const solver_answer &a)
{
    if (!a.farkas) return "\"infeasible\" without weights that prove it";
    if (!(a.proofvalue > 0)) return said("a proof value that is not positive", a.proofvalue);
    double bound = 0, size = 0;
    std::string wrong = dual_bound(m, a.proof, reduced(m, a.proof, 0), 1, &bound, &size);
    if (!wrong.empty()) return wrong;
    return bound > 1e-9 * size ? "" : said("weights that prove nothing", bound);
}

bool leaves(double step, double size, double lower, double upper)
{
    return std::fabs(step) > tolerance * size && std::fabs(step > 0 ? upper : lower) < VNT_INFINITY;
}

std::string unbounded_fault(const random_model &m, const solver_answer &a)
{
    if (!a.ray) return "\"unbounded\" without a direction";
    double gain = 0, size = 0;
    for (size_t j = 0; j < m.columns.size(); j++)
        size = std::max(size, std::fabs(a.direction[j]));
    for (size_t j = 0; j < m.columns.size(); j++) {
        if (leaves(a.direction[j], size, m.columns[j].lower, m.columns[j].upper))
            return said("a direction that leaves a column's bounds", a.direction[j]);
        gain += m.sense * m.columns[j].cost * a.direction[j];
    }
    for (const random_row &r : m.rows) {
        double most = size, step = activity_of(r, a.direction);
        for (size_t k = 0; k < r.index.size(); k++)
            most = std::max(most, std::fabs(r.value[k] * a.direction[r.index[k]]));
        if (leaves(step, most, r.lower, r.upper))
            return said("a direction that leaves a row's bounds", step);
    }
    if (gain >= 0) return said("a direction that does not improve", gain);
    return a.point ? point_fault(m, a.x, 2e-6) : "";
}

// The basic places, columns first, then the slacks of rows.
std::vector<int> basic_places(const solver_answer &a)
{
    std::vector<int> places;
    int cols = static_cast<int>(a.cstat.size());
    for (int j = 0; j < cols; j++)
        if (a.cstat[j] == VNT_BASIS_BASIC) places.push_back(j);
    for (int i = 0; i < static_cast<int>(a.rstat.size()); i++)
        if (a.rstat[i] == VNT_BASIS_BASIC) places.push_back(cols + i);
    return places;
}

// Solves the square system by elimination with full row pivots; false where it has no one solution.
bool eliminate(std::vector<std::vector<double>> &a, std::vector<double> &b)
{
    size_t n = b.size();
    for (size_t k = 0; k < n; k++) {
        size_t p = k;
        for (size_t i = k; i < n; i++)
            if (std::fabs(a[i][k]) > std::fabs(a[p][k])) p = i;
        if (std::fabs(a[p][k]) < 1e-11) return false;
        std::swap(a[p], a[k]);
        std::swap(b[p], b[k]);
        for (size_t i = 0; i < n; i++) {
            if (i == k) continue;
            double factor = a[i][k] / a[k][k];
            for (size_t j = k; j < n && factor != 0; j++)
                a[i][j] -= factor * a[k][j];
            b[i] -= factor * b[k];
        }
    }
    for (size_t k = 0; k < n; k++)
        b[k] /= a[k][k];
    return true;
}

// The value of a place that is not basic: at a bound that must be there, or 0.
bool resting(int status, double lower, double upper, double *value)
{
    *value = status == VNT_BASIS_UPPER ? upper : status == VNT_BASIS_LOWER ? lower : 0;
    if (status == VNT_BASIS_FREE) return lower <= -VNT_INFINITY && upper >= VNT_INFINITY;
    return std::fabs(*value) < VNT_INFINITY;
}

std::string basis_fault(const random_model &m, const solver_answer &a)
{
    std::vector<int> places = basic_places(a);
    size_t rows = m.rows.size(), cols = m.columns.size();
    if (places.size() != rows)
        return said("a basis of the wrong size", static_cast<double>(places.size()));
    std::vector<std::vector<double>> matrix(rows, std::vector<double>(rows, 0.0));
    std::vector<double> side(rows, 0.0), place(cols + rows, 0.0);
    for (size_t j = 0; j < cols; j++)
        if (a.cstat[j] != VNT_BASIS_BASIC &&
            !resting(a.cstat[j], m.columns[j].lower, m.columns[j].upper, &place[j]))
            return said("a column at a bound that it has not", static_cast<double>(j));
    for (size_t i = 0; i < rows; i++) {
        const random_row &r = m.rows[i];
        // A row that is not basic is LOWER also where its only bound is the upper one.
        bool only = a.rstat[i] == VNT_BASIS_LOWER && r.lower <= -VNT_INFINITY;
        if (a.rstat[i] != VNT_BASIS_BASIC &&
            !resting(only ? VNT_BASIS_UPPER : a.rstat[i], r.lower, r.upper, &place[cols + i]))
            return said("a row at a bound that it has not", static_cast<double>(i));
        side[i] = place[cols + i];
        for (size_t k = 0; k < r.index.size(); k++) {
            size_t j = static_cast<size_t>(r.index[k]);
            side[i] -= r.value[k] * place[j];
            auto at = std::lower_bound(places.begin(), places.end(), r.index[k]);
            if (at != places.end() && *at == r.index[k])
                matrix[i][at - places.begin()] = r.value[k];
        }
        auto at = std::lower_bound(places.begin(), places.end(), static_cast<int>(cols + i));
        if (at != places.end() && *at == static_cast<int>(cols + i))
            matrix[i][at - places.begin()] = -1;
    }
    if (!eliminate(matrix, side)) return "a basis that is singular";
    for (size_t k = 0; k < rows; k++)
        place[places[k]] = side[k];
    for (size_t j = 0; j < cols; j++)
        if (std::fabs(place[j] - a.x[j]) > 1e-5 * std::max(1.0, std::fabs(a.x[j])))
            return said("a point that is not its basis'", a.x[j] - place[j]);
    return {};
}

} // namespace

void solver_answer::resize(size_t cols, size_t rows)
{
    for (auto *list : {&x, &dj, &direction})
        list->resize(cols);
    for (auto *list : {&pi, &proof})
        list->resize(rows);
    cstat.resize(cols);
    rstat.resize(rows);
}

std::string certificate_fault(const random_model &m, const solver_answer &a)
{
    std::string wrong;
    if (a.status == VNT_STAT_OPTIMAL) wrong = optimal_fault(m, a);
    if (a.status == VNT_STAT_INFEASIBLE) wrong = infeasible_fault(m, a);
    if (a.status == VNT_STAT_UNBOUNDED) wrong = unbounded_fault(m, a);
    if (wrong.empty() && a.status == VNT_STAT_OPTIMAL)
        wrong = a.basis ? basis_fault(m, a) : "an optimum without a basis";
    return wrong;
}

} // namespace vnt
