#include "solver/problem/problem.h"

#include <algorithm>
#include <cmath>

using namespace vnt;

void vntlp::set_basis(std::vector<int> cols, std::vector<int> rows)
{
    cstat = std::move(cols);
    rstat = std::move(rows);
}

void vntlp::forget_basis()
{
    set_basis({}, {});
}

void vntlp::replace(model &&fresh)
{
    vntlp other;
    other.m = std::move(fresh);
    *this = std::move(other);
}

// A nonbasic column rests at a bound that it has.
int vntlp::resting_place(int j) const
{
    if (m.lower[j] > -VNT_INFINITY) return VNT_BASIS_LOWER;
    return m.upper[j] < VNT_INFINITY ? VNT_BASIS_UPPER : VNT_BASIS_FREE;
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
        cstat.push_back(resting_place(j));
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

// Without the deleted ones a basis has the wrong number of basic variables, but for rows that were
// basic and columns that were not.
template <class list>
static bool survives(const list &status, const std::vector<int> &place, bool basic_may_go)
{
    for (size_t i = 0; i < place.size(); i++) {
        if (place[i] < 0 && (status[i] == VNT_BASIS_BASIC) != basic_may_go) return false;
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

void vntlp::keep_cols(const std::vector<int> &place, int left)
{
    m.keep_cols(place, left);
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
    for (mip_start &s : mipstarts) {
        size_t to = 0;
        for (size_t k = 0; k < s.index.size(); k++) {
            if (place[s.index[k]] < 0) continue;
            s.index[to] = place[s.index[k]];
            s.value[to++] = s.value[k];
        }
        s.index.resize(to);
        s.value.resize(to);
    }
}

void vntlp::keep_rows(const std::vector<int> &place, int left)
{
    m.keep_rows(place, left);
    changed();
    if (has_basis() && survives(rstat, place, true)) {
        compress(rstat, place, left);
    } else {
        forget_basis();
    }
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
        require(!holds_type(m, 'S') && m.sets.empty() && m.indicators.empty(),
                VNTERR_NOT_SUPPORTED);
    }
    std::vector<double> fixed = values; // `changed` may take it away
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
