#include "solver/formats/solutionfile.h"

#include "solver/formats/files.h"

namespace vnt {

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
    std::string out = "solution of " + one_line(m.name) + "\n";
    out += printed("status %d %s\n", s.status, status_text(s.status));
    out += "objective " + number_text(s.objective) + "\n";
    out += printed("columns %d\n", m.numcols());
    for (int j = 0; j < m.numcols(); j++) {
        out += element(s.x, j) + element(s.dj, j) + m.colnames.at(j) + "\n";
    }
    std::vector<double> activity = m.activities(s.x.data()), slack = m.slacks(s.x.data());
    out += printed("rows %d\n", m.numrows());
    for (int i = 0; i < m.numrows(); i++) {
        out +=
            element(activity, i) + element(slack, i) + element(s.pi, i) + m.rownames.at(i) + "\n";
    }
    return out;
}

} // namespace vnt
