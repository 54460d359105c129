#include "solver/model/model.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vnt {

double model_number(double value)
{
    require(!std::isnan(value), VNTERR_BAD_NUMBER);
    return std::clamp(value, -VNT_INFINITY, VNT_INFINITY) + 0.0;
}

double model_finite(double value)
{
    require(number_isfinite(value), VNTERR_BAD_NUMBER);
    return value + 0.0;
}

static void require_one_of(const char *letters, char letter, int status)
{
    require(letter != '\0' && strchr(letters, letter) != nullptr, status);
}

void model::check_sense(char sense)
{
    require_one_of("LEGR", sense, VNTERR_BAD_SENSE);
}

void model::check_ctype(char type)
{
    require_one_of("CBISN", type, VNTERR_BAD_CTYPE);
}

void model::check_bound(char which, double value)
{
    require_one_of("LUB", which, VNTERR_BAD_BOUND);
    model_number(value);
}

double model::row_lower(int i) const
{
    switch (row_sense[i]) {
    case 'L': return -VNT_INFINITY;
    case 'R': return std::min(rhs[i], rhs[i] + range[i]);
    default: return rhs[i];
    }
}

double model::row_upper(int i) const
{
    switch (row_sense[i]) {
    case 'G': return VNT_INFINITY;
    case 'R': return std::max(rhs[i], rhs[i] + range[i]);
    default: return rhs[i];
    }
}

void model::check_cols(const new_columns &cols)
{
    for (int j = 0; j < cols.count; j++) {
        if (cols.objective != nullptr) model_finite(cols.objective[j]);
        if (cols.lower != nullptr) model_number(cols.lower[j]);
        if (cols.upper != nullptr) model_number(cols.upper[j]);
        if (cols.ctype != nullptr) check_ctype(cols.ctype[j]);
    }
}

// One more column; the upper bound of a binary is 1 where nothing else is said.
static void append_column(model *m, const new_columns &cols, int j)
{
    char type = cols.ctype != nullptr ? cols.ctype[j] : 'C';
    double most = type == 'B' ? 1 : VNT_INFINITY;
    m->objective.push_back(cols.objective != nullptr ? model_finite(cols.objective[j]) : 0);
    m->lower.push_back(cols.lower != nullptr ? model_number(cols.lower[j]) : 0);
    m->upper.push_back(cols.upper != nullptr ? model_number(cols.upper[j]) : most);
    m->ctype.push_back(type);
    if (type != 'C') m->make_discrete();
}

// All that can fail comes first, including the allocations.  The number of lines is limited: each
// takes some hundred bytes even when empty, and no engine takes more.
static constexpr int MOST_LINES = 100'000'000;

static void require_lines(int there, int more)
{
    require(more >= 0, VNTERR_BAD_ARGUMENT);
    if (more <= MOST_LINES - there) return;
    throw failure{VNTERR_BAD_ARGUMENT,
                  printed("%d more rows or columns would be too many: no more than %d of either",
                          more, MOST_LINES)};
}

void model::append_cols(const new_columns &cols, const matrix_lines *entries)
{
    require_lines(numcols(), cols.count);
    check_cols(cols);
    if (entries != nullptr) matrix::check(*entries, numrows());
    std::vector<std::string> names = name_list::copies(cols.count, cols.names);
    col_names.make_room(cols.count);
    for (auto *values : {&objective, &lower, &upper})
        make_room(*values, cols.count);
    make_room(ctype, cols.count);
    if (entries != nullptr) {
        a.append_cols(*entries);
    } else {
        a.grow(0, cols.count);
    }
    if (quadratic()) q.grow(cols.count, cols.count);
    col_names.append(std::move(names));
    for (int j = 0; j < cols.count; j++)
        append_column(this, cols, j);
}

void model::check_rows(const new_rows &rows)
{
    for (int i = 0; i < rows.count; i++) {
        if (rows.rhs != nullptr) model_number(rows.rhs[i]);
        if (rows.range != nullptr) model_number(rows.range[i]);
        if (rows.sense != nullptr) check_sense(rows.sense[i]);
    }
}

void model::append_rows(const new_rows &rows, const matrix_lines *entries)
{
    require_lines(numrows(), rows.count);
    check_rows(rows);
    if (entries != nullptr) matrix::check(*entries, numcols());
    std::vector<std::string> names = name_list::copies(rows.count, rows.names);
    row_names.make_room(rows.count);
    make_room(rhs, rows.count);
    make_room(range, rows.count);
    make_room(row_sense, rows.count);
    if (entries != nullptr) {
        a.append_rows(*entries);
    } else {
        a.grow(rows.count, 0);
    }
    row_names.append(std::move(names));
    for (int i = 0; i < rows.count; i++) {
        char s = rows.sense != nullptr ? rows.sense[i] : 'E';
        row_sense.push_back(s);
        rhs.push_back(rows.rhs != nullptr ? model_number(rows.rhs[i]) : 0);
        range.push_back(s == 'R' && rows.range != nullptr ? model_number(rows.range[i]) : 0);
    }
}

template <class list> static void keep(list &values, const std::vector<int> &place, int left)
{
    for (size_t i = 0; i < place.size(); i++) {
        if (place[i] >= 0) values[place[i]] = values[i];
    }
    values.resize(left);
}

// Leaves out the elements whose columns go.
static void keep_terms(std::vector<int> &index, std::vector<double> &value,
                       const std::vector<int> &place)
{
    size_t to = 0;
    for (size_t k = 0; k < index.size(); k++) {
        if (place[index[k]] < 0) continue;
        index[to] = place[index[k]];
        value[to++] = value[k];
    }
    index.resize(to);
    value.resize(to);
}

static void keep_structure(model &m, const std::vector<int> &place)
{
    for (special_set &s : m.sets)
        keep_terms(s.index, s.weight, place);
    std::erase_if(m.indicators, [&](const indicator &c) { return place[c.column] < 0; });
    for (indicator &c : m.indicators) {
        c.column = place[c.column];
        keep_terms(c.index, c.value, place);
    }
    for (auto *rows : {&m.lazies, &m.user_cuts})
        for (row_beside &r : *rows)
            keep_terms(r.index, r.value, place);
    std::erase_if(m.order, [&](const branching &b) { return place[b.column] < 0; });
    for (branching &b : m.order)
        b.column = place[b.column];
}

model model::with_all_rows() const
{
    model all = *this;
    for (auto *rows : {&lazies, &user_cuts}) {
        for (const row_beside &r : *rows) {
            const char *name = r.name.c_str();
            int64_t begin = 0, count = static_cast<int64_t>(r.index.size());
            matrix_lines terms = {1, count, &begin, nullptr, r.index.data(), r.value.data()};
            all.append_rows({1, &r.rhs, &r.sense, nullptr, &name}, &terms);
        }
    }
    return all;
}

void model::keep_cols(const std::vector<int> &place, int left)
{
    keep_structure(*this, place);
    a.keep_cols(place, left);
    if (quadratic()) {
        q.keep_rows(place, left);
        q.keep_cols(place, left);
        settle_quadratic();
    }
    for (auto *values : {&objective, &lower, &upper})
        keep(*values, place, left);
    keep(ctype, place, left);
    col_names.keep(place, left);
}

void model::keep_rows(const std::vector<int> &place, int left)
{
    a.keep_rows(place, left);
    for (auto *values : {&rhs, &range})
        keep(*values, place, left);
    keep(row_sense, place, left);
    row_names.keep(place, left);
}

void model::set_bound(int j, char which, double value)
{
    value = model_number(value);
    if (which != 'U') lower[j] = value;
    if (which != 'L') upper[j] = value;
}

void model::set_sense(int i, char s)
{
    row_sense[i] = s;
    if (s != 'R') range[i] = 0;
}

// A column that becomes binary gets the bounds of one.
void model::set_ctype(int j, char t)
{
    if (t == 'B' && ctype[j] != 'B') {
        lower[j] = 0;
        upper[j] = 1;
    }
    ctype[j] = t;
}

void model::make_discrete()
{
    if (type == VNT_PROB_LP) type = VNT_PROB_MIP;
    if (type == VNT_PROB_QP) type = VNT_PROB_MIQP;
}

void model::set_quadratic(int i, int j, double value)
{
    if (value == 0 && !quadratic()) return;
    if (!quadratic()) q.grow(numcols(), numcols());
    q.set(i, j, value);
    q.set(j, i, value);
    if (type == VNT_PROB_LP) type = VNT_PROB_QP;
    if (type == VNT_PROB_MIP) type = VNT_PROB_MIQP;
}

void model::clear_quadratic()
{
    q = matrix();
    if (type == VNT_PROB_QP) type = VNT_PROB_LP;
    if (type == VNT_PROB_MIQP) type = VNT_PROB_MIP;
}

void model::settle_quadratic()
{
    if (quadratic() && q.entries() == 0) clear_quadratic();
}

std::vector<double> model::activities(const double *x) const
{
    std::vector<double> sum(numrows(), 0.0);
    matrix_view cols = a.by_column();
    for (int j = 0; j < numcols(); j++) {
        for (int64_t k = cols.begin[j]; k < cols.begin[j + 1]; k++) {
            sum[cols.index[k]] += cols.value[k] * x[j];
        }
    }
    return sum;
}

std::vector<double> model::slacks(const double *x) const
{
    std::vector<double> slack = activities(x);
    for (int i = 0; i < numrows(); i++)
        slack[i] = rhs[i] - slack[i];
    return slack;
}

double model::objective_at(const double *x) const
{
    double sum = offset;
    for (int j = 0; j < numcols(); j++)
        sum += objective[j] * x[j];
    if (!quadratic()) return sum;
    matrix_view cols = q.by_column();
    for (int j = 0; j < numcols(); j++) {
        for (int64_t k = cols.begin[j]; k < cols.begin[j + 1]; k++)
            sum += 0.5 * x[j] * cols.value[k] * x[cols.index[k]];
    }
    return sum;
}

double model::indicator_slack(const indicator &c, const double *x) const
{
    double slack = c.rhs;
    for (size_t k = 0; k < c.index.size(); k++)
        slack -= c.value[k] * x[c.index[k]];
    return slack;
}

} // namespace vnt
