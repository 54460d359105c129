#include "solver/formats/solutionfile.h"

#include "solver/formats/listfile.h"

#include <climits>

namespace vnt {

static constexpr const char *title = "solution of";

const char *status_text(int status)
{
    switch (status) {
    case VNT_STAT_OPTIMAL: return "optimal";
    case VNT_STAT_INFEASIBLE: return "infeasible";
    case VNT_STAT_UNBOUNDED: return "unbounded";
    case VNT_STAT_INFEASIBLE_OR_UNBOUNDED: return "infeasible or unbounded";
    case VNT_STAT_ITERATION_LIMIT: return "iteration limit";
    case VNT_STAT_TIME_LIMIT: return "time limit";
    case VNT_STAT_NODE_LIMIT: return "node limit";
    case VNT_STAT_SOLUTION_LIMIT: return "solution limit";
    case VNT_STAT_STOPPED: return "stopped";
    case VNT_STAT_OPTIMAL_TOLERANCE: return "optimal within the gap allowed";
    case VNT_STAT_NUMERICAL: return "numerical trouble";
    case VNT_STAT_CUTOFF: return "nothing better than the cutoff";
    case VNT_STAT_RELAXED: return "relaxed";
    case VNT_STAT_RELAXED_OPTIMAL: return "relaxed, optimal";
    default: return "not solved";
    }
}

// An element, 0 of an empty list.
static std::string element(const std::vector<double> &values, int i)
{
    return number_text(values.empty() ? 0 : values[i]) + " ";
}

std::string solution_write(const model &m, const solution_text &s)
{
    std::string out = printed("%s ", title) + one_line(m.name) + "\n";
    out += printed("status %d %s\n", s.status, status_text(s.status));
    out += "objective " + number_text(s.objective) + "\n";
    out += printed("columns %d\n", m.numcols());
    for (int j = 0; j < m.numcols(); j++) {
        out += element(s.x, j) + element(s.dj, j) + m.col_names.at(j) + "\n";
    }
    std::vector<double> activity = m.activities(s.x.data()), slack = m.slacks(s.x.data());
    out += printed("rows %d\n", m.numrows());
    for (int i = 0; i < m.numrows(); i++) {
        out +=
            element(activity, i) + element(slack, i) + element(s.pi, i) + m.row_names.at(i) + "\n";
    }
    return out;
}

static solution_columns columns_read(list_reader &in, const model &m)
{
    in.head("columns");
    if (in.integer(0, INT_MAX) != m.numcols())
        in.fail(printed("the problem has %d columns", m.numcols()));
    std::vector<bool> seen(m.numcols());
    solution_columns columns = {std::vector<double>(m.numcols()), std::vector<double>(m.numcols())};
    for (int k = 0; k < m.numcols(); k++) {
        in.need("a column's value");
        double x = in.number(), dj = in.number();
        int j = in.fresh_place(m.col_names, &seen);
        columns.x[j] = x;
        columns.dj[j] = dj;
    }
    return columns;
}

std::vector<solution_columns> solutions_read(const std::string &text, const model &m)
{
    std::vector<solution_columns> solutions;
    list_reader in(text);
    in.head(title);
    do {
        in.head("status");
        in.head("objective");
        solutions.push_back(columns_read(in, m));
        in.head("rows");
        for (int64_t left = in.integer(0, INT_MAX); left > 0; left--)
            in.need("a row");
        if (!in.next()) return solutions;
    } while (in.begins(title));
    in.fail("\"solution of\" should stand here");
}

bool solution_inside(const std::string &text)
{
    list_reader in(text);
    return in.next() && in.begins(title);
}

} // namespace vnt
