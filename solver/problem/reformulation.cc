#include "solver/problem/reformulation.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace vnt {

reformulation::reformulation(const vntlp &p, bool discrete)
{
    const model &m = p.m;
    matrix_view cols = m.a.by_column();
    out.numrows = m.numrows();
    out.numcols = m.numcols();
    out.begin = cols.begin;
    out.index = cols.index;
    out.value = cols.value;
    out.col_lower = m.lower.data();
    out.col_upper = m.upper.data();
    out.objective = m.objective.data();
    out.offset = m.offset;
    out.sense = m.sense;
    copy_rows(m);
    if (discrete) {
        copy_discrete(m);
        copy_beside(m);
        copy_starts(p);
        copy_order(m);
    } else if (p.has_basis()) {
        out.cstat = p.cstat.data();
        out.rstat = p.rstat.data();
    }
}

void reformulation::copy_rows(const model &m)
{
    for (int i = 0; i < m.numrows(); i++) {
        row_lower.push_back(m.row_lower(i));
        row_upper.push_back(m.row_upper(i));
    }
    out.row_lower = row_lower.data();
    out.row_upper = row_upper.data();
}

void reformulation::copy_discrete(const model &m)
{
    ctype = m.ctype;
    out.ctype = ctype.data();
    bool semi = ctype.find_first_of("SN") != std::string::npos;
    if (!semi && m.sets.empty() && m.indicators.empty()) return;
    copy_all(m);
    reach = implied_bounds(m);
    add_semicontinuous(m);
    for (const special_set &s : m.sets)
        add_set(s);
    for (const indicator &c : m.indicators)
        add_indicator(c);
    point_out();
}

void reformulation::copy_beside(const model &m)
{
    beside_begin.push_back(0);
    for (auto *rows : {&m.lazies, &m.user_cuts}) {
        for (const row_beside &r : *rows) {
            beside_index.insert(beside_index.end(), r.index.begin(), r.index.end());
            beside_value.insert(beside_value.end(), r.value.begin(), r.value.end());
            beside_begin.push_back(static_cast<int64_t>(beside_index.size()));
            beside_lower.push_back(r.sense == 'L' ? -VNT_INFINITY : r.rhs);
            beside_upper.push_back(r.sense == 'G' ? VNT_INFINITY : r.rhs);
        }
    }
    out.beside = {static_cast<int>(beside_lower.size()),
                  static_cast<int>(m.lazies.size()),
                  beside_begin.data(),
                  beside_index.data(),
                  beside_value.data(),
                  beside_lower.data(),
                  beside_upper.data()};
}

void reformulation::copy_all(const model &m)
{
    a = m.a;
    lower = m.lower;
    upper = m.upper;
    objective = m.objective;
}

// A big M allows violations of its own size times the integrality tolerance.
static bool serves_as_m(double bound)
{
    return bound >= -1e6 && bound <= 1e6;
}

// Returns the index of the new column.
int reformulation::add_column(double low, double high, char type)
{
    a.grow(0, 1);
    lower.push_back(low);
    upper.push_back(high);
    objective.push_back(0);
    ctype.push_back(type);
    return a.cols() - 1;
}

int reformulation::add_binary()
{
    return add_column(0, 1, 'B');
}

// A binary column that is 1 - binary.
int reformulation::add_negation(int binary)
{
    int z = add_binary();
    add_row(1, 1, {binary, z}, {1, 1});
    return z;
}

// Column j is 0 where the binary is 1.  A pair needs a column without negative values; another one
// is replaced by a column that is at least its magnitude.
void reformulation::add_pair(int binary, int j)
{
    if (lower[j] < 0) {
        int magnitude = add_column(0, VNT_INFINITY, 'C');
        add_row(0, VNT_INFINITY, {j, magnitude}, {1, 1});
        add_row(0, VNT_INFINITY, {j, magnitude}, {-1, 1});
        j = magnitude;
    }
    pairs.insert(pairs.end(), {binary, j});
}

void reformulation::add_row(double low, double high, const std::vector<int> &cols,
                            const std::vector<double> &values)
{
    int64_t begin = 0;
    a.append_rows(
        {1, static_cast<int64_t>(cols.size()), &begin, nullptr, cols.data(), values.data()});
    row_lower.push_back(low);
    row_upper.push_back(high);
}

// A semi-continuous column is 0, or between its bounds where its binary companion z is 1:
// lower z <= x <= upper z.
void reformulation::add_semicontinuous(const model &m)
{
    for (int j = 0; j < m.numcols(); j++) {
        if (ctype[j] != 'S' && ctype[j] != 'N') continue;
        ctype[j] = ctype[j] == 'S' ? 'C' : 'I';
        double low = lower[j], high = upper[j];
        if (low <= 0 && high >= 0) continue; // 0 is between the bounds anyway
        lower[j] = std::min(low, 0.0);
        upper[j] = std::max(high, 0.0);
        int z = add_binary();
        double near = low > 0 ? low : high, far = low > 0 ? reach.upper[j] : reach.lower[j];
        add_row(low > 0 ? 0 : -VNT_INFINITY, low > 0 ? VNT_INFINITY : 0, {j, z}, {1, -near});
        if (serves_as_m(far))
            add_row(low > 0 ? -VNT_INFINITY : 0, low > 0 ? 0 : VNT_INFINITY, {j, z}, {1, -far});
        else
            add_pair(add_negation(z), j);
    }
}

// Forces a column to 0 unless one of the binaries is 1.
void reformulation::bind(int j, const std::vector<int> &binaries)
{
    double low = std::min(reach.lower[j], 0.0), high = std::max(reach.upper[j], 0.0);
    std::vector<int> cols = binaries;
    if (!serves_as_m(low) || !serves_as_m(high)) {
        cols.push_back(add_binary());
        add_row(1, VNT_INFINITY, cols, std::vector<double>(cols.size(), 1));
        return add_pair(cols.back(), j);
    }
    cols.push_back(j);
    for (double bound : {low, high}) {
        std::vector<double> values(binaries.size(), -bound);
        values.push_back(1);
        bool up = bound == high;
        if (up || low < 0) add_row(up ? -VNT_INFINITY : 0, up ? 0 : VNT_INFINITY, cols, values);
    }
}

// One binary for each place at which the set may be nonzero: a column, or two neighbours.  At most
// one of the binaries is 1.
void reformulation::add_set(const special_set &s)
{
    std::vector<int> order(s.index.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](int a, int b) { return s.weight[a] < s.weight[b]; });
    int width = s.type - '0', count = static_cast<int>(order.size());
    if (count <= width) return;
    int places = count - width + 1, first = a.cols();
    std::vector<int> all;
    for (int k = 0; k < places; k++)
        all.push_back(add_binary());
    add_row(-VNT_INFINITY, 1, all, std::vector<double>(places, 1));
    for (int k = 0; k < count; k++) {
        std::vector<int> around;
        for (int q = std::max(0, k - width + 1); q <= std::min(k, places - 1); q++) {
            around.push_back(first + q);
        }
        bind(s.index[order[k]], around);
    }
}

// With a big M: the row times `sign` is at most its right-hand side where the indicator holds, and
// at most the maximum of its activity where not.
void reformulation::add_implied(const indicator &c, double sign)
{
    double most = 0, rhs = sign * c.rhs;
    std::vector<double> values;
    for (size_t k = 0; k < c.index.size(); k++) {
        double v = sign * c.value[k];
        int j = c.index[k];
        double bound = v > 0 ? reach.upper[j] : reach.lower[j];
        if (v == 0) bound = 0;
        if (!serves_as_m(bound) || !serves_as_m(v * bound)) return add_paired(c, sign);
        most += v * bound;
        values.push_back(v);
    }
    if (most <= rhs) return; // it holds anyway
    if (!serves_as_m(most - rhs)) return add_paired(c, sign);
    // The indicator's column may be one of the row's as well.
    std::vector<int> cols = c.index;
    size_t at = static_cast<size_t>(std::find(cols.begin(), cols.end(), c.column) - cols.begin());
    if (at == cols.size()) {
        cols.push_back(c.column);
        values.push_back(0);
    }
    values[at] += c.complemented ? rhs - most : most - rhs;
    add_row(-VNT_INFINITY, c.complemented ? rhs : most, cols, values);
}

// Without a big M: the row's excess over its right-hand side is 0 where the indicator holds.
void reformulation::add_paired(const indicator &c, double sign)
{
    int excess = add_column(0, VNT_INFINITY, 'C');
    std::vector<int> cols = c.index;
    std::vector<double> values = c.value;
    for (double &v : values)
        v *= sign;
    cols.push_back(excess);
    values.push_back(-1);
    add_row(-VNT_INFINITY, sign * c.rhs, cols, values);
    add_pair(c.complemented ? add_negation(c.column) : c.column, excess);
}

void reformulation::add_indicator(const indicator &c)
{
    if (c.sense != 'G') add_implied(c, 1);
    if (c.sense != 'L') add_implied(c, -1);
}

void reformulation::point_out()
{
    matrix_view cols = a.by_column();
    out.numrows = a.rows();
    out.numcols = a.cols();
    out.begin = cols.begin;
    out.index = cols.index;
    out.value = cols.value;
    out.col_lower = lower.data();
    out.col_upper = upper.data();
    out.objective = objective.data();
    out.row_lower = row_lower.data();
    out.row_upper = row_upper.data();
    out.ctype = ctype.data();
    out.num_pairs = static_cast<int>(pairs.size() / 2);
    out.pairs = pairs.data();
}

// The MIP starts, in order, or else the values of a general start.
void reformulation::copy_starts(const vntlp &p)
{
    auto add = [&]() -> std::vector<double> & {
        starts.emplace_back(out.numcols, std::numeric_limits<double>::quiet_NaN());
        return starts.back();
    };
    for (const mip_start &given : p.mip_starts) {
        std::vector<double> &x = add();
        for (size_t k = 0; k < given.index.size(); k++)
            x[given.index[k]] = given.value[k];
    }
    if (p.mip_starts.empty() && !p.start.empty())
        std::copy(p.start.begin(), p.start.end(), add().begin());
    for (const std::vector<double> &x : starts)
        start_points.push_back(x.data());
    out.starts = start_points.data();
    out.num_starts = static_cast<int>(start_points.size());
}

// Columns of a higher priority are branched on first; the engine's ranks count the other way.
void reformulation::copy_order(const model &m)
{
    if (m.order.empty()) return;
    int most = 0;
    for (const branching &b : m.order)
        most = std::max(most, b.priority);
    rank.assign(out.numcols, most + 1);
    direction.assign(out.numcols, 0);
    for (const branching &b : m.order) {
        rank[b.column] = 1 + most - b.priority;
        direction[b.column] = b.direction;
    }
    out.rank = rank.data();
    out.direction = direction.data();
}

} // namespace vnt
