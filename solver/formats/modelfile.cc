#include "solver/formats/modelfile.h"

#include <unordered_set>

namespace vnt {

void model_parts::add_row(char s, std::string_view n)
{
    if (rowwise) begin.push_back(static_cast<int64_t>(index.size()));
    rowsense.push_back(s);
    rhs.push_back(0);
    range.push_back(0);
    rownames.emplace_back(n);
}

void model_parts::add_column(std::string_view n, char type)
{
    if (!rowwise) begin.push_back(static_cast<int64_t>(index.size()));
    objective.push_back(0);
    lower.push_back(0);
    upper.push_back(VNT_INFINITY);
    ctype.push_back(type);
    colnames.emplace_back(n);
}

void model_parts::add_entry(int i, double v)
{
    index.push_back(i);
    value.push_back(v);
}

static std::vector<const char *> pointers(const std::vector<std::string> &names)
{
    std::vector<const char *> list;
    for (const std::string &n : names)
        list.push_back(n.c_str());
    return list;
}

model model_parts::take()
{
    model m;
    m.name = std::move(name);
    m.objname = std::move(objname);
    m.sense = sense;
    m.offset = offset;
    auto rnames = pointers(rownames), cnames = pointers(colnames);
    new_rows rows = {static_cast<int>(rhs.size()), rhs.data(), rowsense.data(), range.data(),
                     rnames.data()};
    new_columns cols = {static_cast<int>(lower.size()),
                        objective.data(),
                        lower.data(),
                        upper.data(),
                        ctype.data(),
                        cnames.data()};
    matrix_lines lines = {rowwise ? rows.count : cols.count,
                          static_cast<int64_t>(index.size()),
                          begin.data(),
                          nullptr,
                          index.data(),
                          value.data()};
    if (rowwise) m.append_cols(cols, nullptr);
    m.append_rows(rows, rowwise ? &lines : nullptr);
    if (!rowwise) m.append_cols(cols, &lines);
    return m;
}

static std::vector<std::string> names_of(const name_list &list, char letter, bool *made,
                                         const std::function<bool(const std::string &)> &suits)
{
    std::vector<std::string> names;
    std::unordered_set<std::string> seen;
    bool good = true;
    for (int i = 0; i < list.size() && good; i++) {
        names.push_back(list.at(i));
        const std::string &n = names.back();
        good = n.find_first_of(" \t\r\n") == std::string::npos && suits(n) && seen.insert(n).second;
    }
    if (good) return names;
    *made = true;
    names.clear();
    for (int i = 0; i < list.size(); i++)
        names.push_back(letter + std::to_string(i + 1));
    return names;
}

file_names::file_names(const model &m, const std::function<bool(const std::string &)> &suits)
{
    rows = names_of(m.rownames, 'c', &made, suits);
    cols = names_of(m.colnames, 'x', &made, suits);
    objective = m.objname;
    auto taken = [&] {
        for (const std::string &n : rows) {
            if (n == objective) return true;
        }
        return false;
    };
    bool good = !objective.empty() && objective.find_first_of(" \t\r\n") == std::string::npos &&
                suits(objective);
    if (!good) objective = "obj";
    while (taken())
        objective += "_";
}

} // namespace vnt
