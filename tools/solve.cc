#include "tools/solve.h"

#include "tools/output.h"
#include "tools/running.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <numeric>

namespace vnt {

static constexpr size_t largestcount = 5; // variables that the summary shows

static std::string column_name(session &s, int column)
{
    char store[4096], *name = nullptr;
    int64_t surplus = 0;
    int status =
        s.solver.VNTLgetcolname(s.env, s.lp, &name, store, sizeof store, &surplus, column, column);
    return status == 0 ? name : fmt::format("x{}", column + 1);
}

static std::vector<named_value> largest_variables(session &s, int columns)
{
    std::vector<double> x(columns);
    if (columns == 0 || s.solver.VNTLgetx(s.env, s.lp, x.data(), 0, columns - 1) != 0) return {};
    std::vector<int> order(columns);
    std::iota(order.begin(), order.end(), 0);
    size_t count = std::min(order.size(), largestcount);
    std::partial_sort(order.begin(), order.begin() + count, order.end(), [&](int a, int b) {
        return std::fabs(x[a]) != std::fabs(x[b]) ? std::fabs(x[a]) > std::fabs(x[b]) : a < b;
    });
    std::vector<named_value> largest;
    for (size_t i = 0; i < count && x[order[i]] != 0; i++)
        largest.push_back({column_name(s, order[i]), x[order[i]]});
    return largest;
}

static void report_model(session &s, solve_report *report)
{
    report->rows = s.solver.VNTLgetnumrows(s.env, s.lp);
    report->columns = s.solver.VNTLgetnumcols(s.env, s.lp);
    report->nonzeros = s.solver.VNTLgetnumnz(s.env, s.lp);
    report->integers = s.solver.VNTLgetnumint(s.env, s.lp) + s.solver.VNTLgetnumbin(s.env, s.lp) +
                       s.solver.VNTLgetnumsemiint(s.env, s.lp);
}

// A mixed-integer problem has a bound even without a solution.
static void report_solution(session &s, solve_report *report)
{
    double value;
    int type = s.solver.VNTLgetprobtype(s.env, s.lp);
    bool mip = type == VNT_PROB_MIP || type == VNT_PROB_MIQP || type == VNT_PROB_MIQCP;
    bool none = report->stat == VNT_STAT_INFEASIBLE || report->stat == VNT_STAT_UNBOUNDED ||
                report->stat == VNT_STAT_INFEASIBLE_OR_UNBOUNDED;
    int status = none ? VNTERR_NO_SOLUTION : s.solver.VNTLgetobjval(s.env, s.lp, &value);
    if (status == 0) {
        report->objective = value;
        report->largest = largest_variables(s, report->columns);
    } else if (status != VNTERR_NO_SOLUTION) {
        session_check(s, status, "reading the objective");
    }
    if (mip) {
        if (!none && s.solver.VNTLgetbestobjval(s.env, s.lp, &value) == 0) report->bound = value;
        report->iterations = s.solver.VNTLgetmipitcnt(s.env, s.lp);
        report->nodes = s.solver.VNTLgetnodecnt(s.env, s.lp);
        return;
    }
    if (report->stat == VNT_STAT_OPTIMAL) report->bound = report->objective;
    report->iterations = s.solver.VNTLgetitcnt(s.env, s.lp) + s.solver.VNTLgetbaritcnt(s.env, s.lp);
}

// Most calls of the report return values, which cannot say that the worker is gone.  A call with a
// status, after all of them, shows that they came from a worker that was still there.
static void check_worker(session &s)
{
    int level;
    session_check(s, s.solver.VNTLgetintparam(s.env, VNT_PARAM_LOG_LEVEL, &level),
                  "reading the result");
}

// Checks the status of writing a file.  A solution or a basis that does not exist is worth a
// message, but not an error.
static void write_file(session &s, const std::string &file, const char *what, int status)
{
    if (status == VNTERR_NO_SOLUTION || status == VNTERR_NO_BASIS)
        output_complaint(fmt::format("there is no {} to write to {}", what, file));
    else
        session_check(s, status, file);
}

// The result of a long solve is reported even when its files cannot be written.
static void write_files(session &s, solve_report *report)
{
    const std::string &solution = s.options.solutionfile, &basis = s.options.basisfile,
                      &model = s.options.modelfile;
    try {
        if (!solution.empty())
            write_file(s, solution, "solution",
                       report->objective ? s.solver.VNTLsolwrite(s.env, s.lp, solution.c_str())
                                         : VNTERR_NO_SOLUTION);
        if (!basis.empty())
            write_file(s, basis, "basis", s.solver.VNTLmbasewrite(s.env, s.lp, basis.c_str()));
        if (!model.empty())
            write_file(s, model, "model",
                       s.solver.VNTLwriteprob(s.env, s.lp, model.c_str(), nullptr));
    } catch (const failure &what) {
        report->trouble = what;
    }
}

std::optional<solve_report> solve(session &s)
{
    if (s.options.attachfile.empty()) {
        session_open(s);
        s.shown.start(std::chrono::system_clock::now());
    } else {
        session_attach(s);
    }
    if (!run(s)) return std::nullopt;
    solve_report report;
    if (s.saw_end) report.seconds = s.shown.elapsed();
    report.server = s.server;
    report.stat = s.solver.VNTLgetstat(s.env, s.lp);
    report_model(s, &report);
    report_solution(s, &report);
    check_worker(s);
    write_files(s, &report);
    return report;
}

} // namespace vnt
