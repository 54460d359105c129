#include "solver/problem/problem.h"

#include "solver/problem/tableau.h"

#include <algorithm>
#include <cmath>
#include <numeric>

using namespace vnt;

void vntlp::set_basis(std::vector<int> cols, std::vector<int> rows)
{
    cstat = std::move(cols);
    rstat = std::move(rows);
    tableau.made.reset();
}

void vntlp::forget_basis()
{
    set_basis({}, {});
}

const tableau &vntlp::basis_tableau()
{
    require(has_basis(), VNTERR_NO_BASIS);
    if (tableau.made == nullptr) tableau.made = std::make_shared<vnt::tableau>(m, cstat, rstat);
    return *tableau.made;
}

void vntlp::changed()
{
    last = answer();
    found.reset();
    tableau.made.reset();
}

void vntlp::replace(model &&fresh)
{
    vntlp other;
    other.m = std::move(fresh);
    *this = std::move(other);
}

int vntlp::nonbasic_status(int j) const
{
    if (m.lower[j] > -VNT_INFINITY) return VNT_BASIS_LOWER;
    return m.upper[j] < VNT_INFINITY ? VNT_BASIS_UPPER : VNT_BASIS_FREE;
}

// The status that a value suggests: LOWER or UPPER at a bound, BASIC between them.
static int status_of(double value, double low, double high)
{
    auto at = [&](double bound) {
        return std::fabs(value - bound) <= 1e-9 * std::max(1.0, std::fabs(bound));
    };
    return at(low) ? VNT_BASIS_LOWER : at(high) ? VNT_BASIS_UPPER : VNT_BASIS_BASIC;
}

void vntlp::set_basis_near(const std::vector<double> &x, const std::vector<double> &dj)
{
    int rows = m.numrows(), cols = m.numcols();
    std::vector<double> activity = m.activities(x.data());
    std::vector<int> status, rank, order(rows + cols);
    for (int i = 0; i < rows; i++) {
        status.push_back(status_of(activity[i], m.row_lower(i), m.row_upper(i)));
        rank.push_back(status[i] == VNT_BASIS_BASIC ? 0 : 1);
    }
    for (int j = 0; j < cols; j++) {
        status.push_back(status_of(x[j], m.lower[j], m.upper[j]));
        rank.push_back(status.back() == VNT_BASIS_BASIC ? 0 : std::fabs(dj[j]) < 1e-9 ? 1 : 2);
    }
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return rank[a] < rank[b]; });
    for (int k = 0; k < rows; k++)
        status[order[k]] = VNT_BASIS_BASIC;
    for (int k = rows; k < rows + cols; k++) {
        int &s = status[order[k]];
        if (s == VNT_BASIS_BASIC)
            s = order[k] < rows ? VNT_BASIS_LOWER : nonbasic_status(order[k] - rows);
    }
    set_basis({status.begin() + rows, status.end()}, {status.begin(), status.begin() + rows});
}

void vntlp::append_cols(const new_columns &cols, const matrix_lines *entries)
{
    bool fit = has_basis();
    for (auto *values : {&free_lower, &free_upper})
        make_room(*values, std::max(cols.count, 0));
    make_room(cstat, std::max(cols.count, 0));
    m.append_cols(cols, entries);
    changed();
    start.clear();
    if (!free_lower.empty()) {
        free_lower.insert(free_lower.end(), m.lower.end() - cols.count, m.lower.end());
        free_upper.insert(free_upper.end(), m.upper.end() - cols.count, m.upper.end());
    }
    if (!fit) return;
    for (int j = m.numcols() - cols.count; j < m.numcols(); j++) {
        cstat.push_back(nonbasic_status(j));
    }
}

void vntlp::append_rows(const new_rows &rows, const matrix_lines *entries)
{
    bool fit = has_basis();
    make_room(rstat, std::max(rows.count, 0));
    m.append_rows(rows, entries);
    changed();
    if (fit) rstat.resize(m.numrows(), VNT_BASIS_BASIC);
}

// Whether the basis keeps the right number of basic variables: each deleted row must have been
// basic, each deleted column nonbasic.
template <class list>
static bool survives(const list &status, const std::vector<int> &place, bool basic)
{
    for (size_t i = 0; i < place.size(); i++) {
        if (place[i] < 0 && (status[i] == VNT_BASIS_BASIC) != basic) return false;
    }
    return true;
}

template <class list> static void compress(list &values, const std::vector<int> &place, int left)
{
    for (size_t i = 0; i < place.size(); i++) {
        if (place[i] >= 0) values[place[i]] = values[i];
    }
    values.resize(left);
}

// Drops the terms of deleted columns.  A list of values may be empty.
static void compress_terms(std::vector<int> &index, const std::vector<int> &place,
                           std::initializer_list<std::vector<double> *> lists)
{
    size_t to = 0;
    for (size_t k = 0; k < index.size(); k++) {
        if (place[index[k]] < 0) continue;
        index[to] = place[index[k]];
        for (std::vector<double> *values : lists)
            if (!values->empty()) (*values)[to] = (*values)[k];
        to++;
    }
    index.resize(to);
    for (std::vector<double> *values : lists)
        if (!values->empty()) values->resize(to);
}

void vntlp::keep_cols(const std::vector<int> &place, int left)
{
    m.keep_cols(place, left);
    notes.keep(VNT_ANNOTATION_COLUMN, place);
    changed();
    start.clear();
    if (!free_lower.empty()) {
        compress(free_lower, place, left);
        compress(free_upper, place, left);
    }
    if (has_basis() && survives(cstat, place, false)) {
        compress(cstat, place, left);
    } else {
        forget_basis();
    }
    for (mip_start &s : mip_starts)
        compress_terms(s.index, place, {&s.value});
    for (pool_filter &f : filters)
        compress_terms(f.index, place, {&f.weight, &f.reference});
}

void vntlp::keep_rows(const std::vector<int> &place, int left)
{
    m.keep_rows(place, left);
    notes.keep(VNT_ANNOTATION_ROW, place);
    changed();
    if (has_basis() && survives(rstat, place, true)) {
        compress(rstat, place, left);
    } else {
        forget_basis();
    }
}

// Whether a lazy constraint has a continuous column.  The others hold once the discrete columns are
// fixed at a solution.
static bool lazy_when_fixed(const model &m)
{
    for (const row_beside &r : m.lazies) {
        for (int j : r.index)
            if (m.ctype[j] == 'C') return true;
    }
    return false;
}

static bool holds_type(const model &m, char type)
{
    return m.ctype.find(type) != std::string::npos;
}

void vntlp::set_type(int type, const std::vector<double> &values)
{
    require(type >= VNT_PROB_LP && type <= VNT_PROB_FIXED_MIP, VNTERR_BAD_ARGUMENT);
    require(type != VNT_PROB_QCP && type != VNT_PROB_MIQCP, VNTERR_NOT_SUPPORTED);
    if (type == VNT_PROB_FIXED_MIP) {
        require(m.type == VNT_PROB_MIP, VNTERR_NOT_MIP);
        require(!values.empty(), VNTERR_NO_SOLUTION);
        require(!holds_type(m, 'S') && m.sets.empty() && m.indicators.empty() &&
                    !lazy_when_fixed(m),
                VNTERR_NOT_SUPPORTED);
    }
    std::vector<double> fixed = values; // they may belong to the answer that changed() drops
    if (type == VNT_PROB_LP || type == VNT_PROB_MIP) m.clear_quadratic();
    m.type = type;
    changed();
    if (!free_lower.empty()) {
        m.lower = std::move(free_lower);
        m.upper = std::move(free_upper);
        free_lower.clear();
        free_upper.clear();
    }
    if (type != VNT_PROB_FIXED_MIP) return;
    free_lower = m.lower;
    free_upper = m.upper;
    for (int j = 0; j < m.numcols(); j++) {
        if (m.ctype[j] != 'C') m.lower[j] = m.upper[j] = std::round(fixed[j]);
    }
}
