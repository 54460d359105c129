#include "solver/formats/modelfile.h"

#include <cmath>
#include <unordered_set>

namespace vnt {

void model_parts::add_row(char s, std::string_view n)
{
    if (rowwise) begin.push_back(static_cast<int64_t>(index.size()));
    row_sense.push_back(s);
    row_kind.push_back(kind);
    rhs.push_back(0);
    range.push_back(0);
    row_names.emplace_back(n);
}

void model_parts::add_column(std::string_view n, char type)
{
    if (!rowwise) begin.push_back(static_cast<int64_t>(index.size()));
    objective.push_back(0);
    lower.push_back(0);
    upper.push_back(VNT_INFINITY);
    ctype.push_back(type);
    col_names.emplace_back(n);
}

void model_parts::add_entry(int i, double v)
{
    index.push_back(i);
    value.push_back(v);
}

// A row is stored as one side and the distance to the other.  Takes the first of six pairs that
// gives both sides exactly, so that a row does not change when it is written and read again.
void model_parts::set_range(double low, double high)
{
    row_sense.back() = 'R';
    double sides[] = {low, high};
    for (int k = 0; k < 2; k++) {
        double from = sides[k], to = sides[1 - k], way = to - from;
        for (double r : {way, std::nextafter(way, HUGE_VAL), std::nextafter(way, -HUGE_VAL)}) {
            rhs.back() = from;
            range.back() = r;
            if (from + r == to) return;
        }
    }
    rhs.back() = low; // no pair does: the upper side moves by a bit
    range.back() = high - low;
}

static std::vector<const char *> pointers(const std::vector<std::string> &names)
{
    std::vector<const char *> list;
    for (const std::string &n : names)
        list.push_back(n.c_str());
    return list;
}

// Takes the lazy constraints and user cuts out of the rows.
static void take_beside(const std::string &kinds, model *m)
{
    matrix_view rows = m->a.by_row();
    std::vector<int> place;
    int left = 0;
    for (int i = 0; i < m->numrows(); i++) {
        place.push_back(kinds[i] == model_parts::ROW ? left++ : -1);
        if (kinds[i] == model_parts::ROW) continue;
        row_beside r = {m->row_names.at(i), m->row_sense[i], m->rhs[i], {}, {}};
        if (r.sense == 'R' || std::fabs(r.rhs) >= VNT_INFINITY)
            throw failure{VNTERR_FILE_FORMAT,
                          printed("lazy constraint or user cut \"%.200s\" wants one finite side",
                                  r.name.c_str())};
        r.index.assign(rows.index + rows.begin[i], rows.index + rows.begin[i + 1]);
        r.value.assign(rows.value + rows.begin[i], rows.value + rows.begin[i + 1]);
        (kinds[i] == model_parts::LAZY ? m->lazies : m->user_cuts).push_back(std::move(r));
    }
    if (left < m->numrows()) m->keep_rows(place, left);
}

model model_parts::take()
{
    model m;
    m.name = std::move(name);
    m.objname = std::move(objname);
    m.sense = sense;
    m.offset = offset;
    auto row_pointers = pointers(row_names), col_pointers = pointers(col_names);
    new_rows rows = {static_cast<int>(rhs.size()), rhs.data(), row_sense.data(), range.data(),
                     row_pointers.data()};
    new_columns cols = {static_cast<int>(lower.size()),
                        objective.data(),
                        lower.data(),
                        upper.data(),
                        ctype.data(),
                        col_pointers.data()};
    matrix_lines lines = {rowwise ? rows.count : cols.count,
                          static_cast<int64_t>(index.size()),
                          begin.data(),
                          nullptr,
                          index.data(),
                          value.data()};
    if (rowwise) m.append_cols(cols, nullptr);
    m.append_rows(rows, rowwise ? &lines : nullptr);
    if (!rowwise) m.append_cols(cols, &lines);
    for (auto [i, j, v] : quadratic)
        m.set_quadratic(i, j, v);
    m.settle_quadratic();
    m.sets = std::move(sets);
    m.indicators = std::move(indicators);
    if (!m.sets.empty() || !m.indicators.empty()) m.make_discrete();
    take_beside(row_kind, &m);
    return m;
}

std::string wide_binaries(const model_parts &parts)
{
    for (size_t j = 0; j < parts.ctype.size(); j++) {
        if (parts.ctype[j] != 'B' || (parts.lower[j] >= 0 && parts.upper[j] <= 1)) continue;
        return printed("the bounds of binary column \"%.200s\" reach beyond 0 and 1, and count\n",
                       parts.col_names[j].c_str());
    }
    return {};
}

bool suits_files(const std::string &name)
{
    return !name.empty() && name.find_first_of("\r\n") == std::string::npos;
}

using name_check = std::function<bool(const std::string &)>;
using name_set = std::unordered_set<std::string>;

// Makes names that the format allows and that are not in `seen`, and adds them there.
static bool take_names(const std::vector<std::string> &names, const name_check &suits,
                       name_set *seen)
{
    name_set fresh = *seen;
    for (const std::string &n : names) {
        if (!suits_files(n) || !suits(n) || !fresh.insert(n).second) return false;
    }
    *seen = std::move(fresh);
    return true;
}

static void make_names(std::vector<std::string> *names, const std::string &start,
                       const name_check &suits, name_set *seen, bool *made)
{
    if (take_names(*names, suits, seen)) return;
    *made = true;
    for (size_t k = 0; k < names->size(); k++) {
        (*names)[k] = start + std::to_string(k + 1);
        while (!seen->insert((*names)[k]).second)
            (*names)[k] += '_';
    }
}

file_names::file_names(const model &m, const name_check &suits)
{
    for (int i = 0; i < m.numrows(); i++)
        rows.push_back(m.row_names.at(i));
    for (int j = 0; j < m.numcols(); j++)
        cols.push_back(m.col_names.at(j));
    for (const special_set &s : m.sets)
        sets.push_back(s.name);
    for (const indicator &c : m.indicators)
        indicators.push_back(c.name);
    name_set of_rows, of_cols, of_sets;
    make_names(&rows, "c", suits, &of_rows, &made);
    make_names(&cols, "x", suits, &of_cols, &made);
    make_names(&sets, "s", suits, &of_sets, &made);
    make_names(&indicators, "i", suits, &of_rows, &made);
    objective = suits_files(m.objname) && suits(m.objname) ? m.objname : "obj";
    while (of_rows.count(objective) > 0)
        objective += "_";
}

} // namespace vnt
