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
    out.collower = m.lower.data();
    out.colupper = m.upper.data();
    out.objective = m.objective.data();
    out.offset = m.offset;
    out.sense = m.sense;
    copy_rows(m);
    if (discrete) {
        copy_discrete(m);
        copy_start(p);
    } else if (p.has_basis()) {
        out.cstat = p.cstat.data();
        out.rstat = p.rstat.data();
    }
}

void reformulation::copy_rows(const model &m)
{
    for (int i = 0; i < m.numrows(); i++) {
        rowlower.push_back(m.rowlower(i));
        rowupper.push_back(m.rowupper(i));
    }
    out.rowlower = rowlower.data();
    out.rowupper = rowupper.data();
}

void reformulation::copy_discrete(const model &m)
{
    ctype = m.ctype;
    out.ctype = ctype.data();
    bool semi = ctype.find_first_of("SN") != std::string::npos;
    if (!semi && m.sets.empty() && m.indicators.empty()) return;
    copy_all(m);
    add_semicontinuous(m);
    for (const special_set &s : m.sets)
        add_set(m, s);
    for (const indicator &c : m.indicators)
        add_indicator(m, c);
    point_out();
}

void reformulation::copy_all(const model &m)
{
    a = m.a;
    lower = m.lower;
    upper = m.upper;
    objective = m.objective;
}

// A new column between 0 and 1; returns its place.
int reformulation::add_binary()
{
    a.grow(0, 1);
    lower.push_back(0);
    upper.push_back(1);
    objective.push_back(0);
    ctype.push_back('B');
    return a.cols() - 1;
}

void reformulation::add_row(double low, double high, const std::vector<int> &cols,
                            const std::vector<double> &values)
{
    int64_t begin = 0;
    a.append_rows(
        {1, static_cast<int64_t>(cols.size()), &begin, nullptr, cols.data(), values.data()});
    rowlower.push_back(low);
    rowupper.push_back(high);
}

// A column with which nothing can be done without its bounds.
static void require_bounds(const model &m, int j, double low, double high, const char *what)
{
    if (low > -VNT_INFINITY && high < VNT_INFINITY) return;
    throw failure{VNTERR_NOT_SUPPORTED, printed("column \"%.200s\" %s and needs finite bounds",
                                                m.colnames.at(j).c_str(), what)};
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
        require_bounds(m, j, low, high, "is semi-continuous");
        int z = add_binary();
        add_row(-VNT_INFINITY, 0, {j, z}, {1, -high});
        add_row(0, VNT_INFINITY, {j, z}, {1, -low});
        lower[j] = std::min(low, 0.0);
        upper[j] = std::max(high, 0.0);
    }
}

// Lets a column be other than 0 only where one of the binaries is 1.
void reformulation::bind(const model &m, int j, const std::vector<int> &binaries)
{
    double low = std::min(lower[j], 0.0), high = std::max(upper[j], 0.0);
    require_bounds(m, j, low, high, "is in a special ordered set");
    std::vector<int> cols = binaries;
    cols.push_back(j);
    for (double bound : {low, high}) {
        std::vector<double> values(binaries.size(), -bound);
        values.push_back(1);
        bool up = bound == high;
        if (up || low < 0) add_row(up ? -VNT_INFINITY : 0, up ? 0 : VNT_INFINITY, cols, values);
    }
}

// One binary for each place where the set may be other than 0: a column, or two neighbours.  One
// of these places at most is taken.
void reformulation::add_set(const model &m, const special_set &s)
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
        bind(m, s.index[order[k]], around);
    }
}

// The row times `sign` is at most its right-hand side while the indicator holds, and at most what
// the columns' bounds allow at all while it does not.
void reformulation::add_implied(const model &m, const indicator &c, double sign)
{
    double most = 0, rhs = sign * c.rhs;
    std::vector<double> values;
    for (size_t k = 0; k < c.index.size(); k++) {
        double v = sign * c.value[k];
        int j = c.index[k];
        double bound = v > 0 ? upper[j] : lower[j];
        require_bounds(m, j, v > 0 ? 0 : bound, v > 0 ? bound : 0, "is in an indicator constraint");
        most += v * bound;
        values.push_back(v);
    }
    if (most <= rhs) return; // it holds anyway
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

void reformulation::add_indicator(const model &m, const indicator &c)
{
    if (c.sense != 'G') add_implied(m, c, 1);
    if (c.sense != 'L') add_implied(m, c, -1);
}

void reformulation::point_out()
{
    matrix_view cols = a.by_column();
    out.numrows = a.rows();
    out.numcols = a.cols();
    out.begin = cols.begin;
    out.index = cols.index;
    out.value = cols.value;
    out.collower = lower.data();
    out.colupper = upper.data();
    out.objective = objective.data();
    out.rowlower = rowlower.data();
    out.rowupper = rowupper.data();
    out.ctype = ctype.data();
}

// The first MIP start, or else the values of a general start.
void reformulation::copy_start(const vntlp &p)
{
    if (p.mipstarts.empty() && p.start.empty()) return;
    start = p.start;
    if (!p.mipstarts.empty()) start.clear();
    start.resize(out.numcols, std::numeric_limits<double>::quiet_NaN());
    if (!p.mipstarts.empty()) {
        const mip_start &first = p.mipstarts.front();
        for (size_t k = 0; k < first.index.size(); k++)
            start[first.index[k]] = first.value[k];
    }
    out.start = start.data();
}

} // namespace vnt
