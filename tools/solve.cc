#include "tools/solve.h"

#include "tools/files.h"
#include "tools/output.h"
#include "tools/page.h"
#include "tools/running.h"
#include "tools/solution.h"

#include <fmt/format.h>

namespace vnt {

static std::vector<named_value> column_values(session &s, int columns)
{
    std::vector<double> x(columns);
    if (columns == 0 || s.solver.VNTLgetx(s.env, s.lp, x.data(), 0, columns - 1) != 0) return {};
    std::vector<std::string> names = session_colnames(s);
    std::vector<named_value> values;
    for (size_t j = 0; j < x.size() && j < names.size(); j++)
        values.push_back({std::move(names[j]), x[j]});
    return values;
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
        report->values = column_values(s, report->columns);
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

static void write_solution(const solve_report &report, const std::string &file)
{
    if (!report.objective)
        output_complaint(fmt::format("there is no solution to write to {}", file));
    else
        solution_write(file,
                       {"model " + report.model, "status " + report_end(report),
                        fmt::format("objective {}", *report.objective)},
                       report.values);
}

// Checks the status of writing a file.  A basis that does not exist is worth a message, but not an
// error.
static void write_file(session &s, const std::string &file, const char *what, int status)
{
    if (status == VNTERR_NO_BASIS)
        output_complaint(fmt::format("there is no {} to write to {}", what, file));
    else
        session_check(s, status, file);
}

// The last sample tells the result.
static void end_history(session &s, const solve_report &report)
{
    progress_sample end;
    end.event = "end";
    end.seconds = report.seconds.value_or(s.shown.elapsed());
    end.nodes = report.nodes;
    end.iterations = report.iterations;
    end.incumbent = report.objective;
    end.bound = report.bound;
    end.gap = progress_gap(report.objective, report.bound);
    s.past.add(end);
}

static void write_page(session &s, const solve_report &report)
{
    if (!s.options.reportfile.empty())
        page_write(s.options.reportfile, report, s.past.samples(), s.started);
}

// The result of a long solve is reported even when its files cannot be written.
static void write_files(session &s, solve_report *report)
{
    const std::string &solution = s.options.solutionfile, &basis = s.options.basisfile,
                      &model = s.options.modelfile;
    try {
        if (!solution.empty()) write_solution(*report, solution);
        if (!basis.empty())
            write_file(s, basis, "basis", s.solver.VNTLmbasewrite(s.env, s.lp, basis.c_str()));
        if (!model.empty())
            write_file(s, model, "model",
                       s.solver.VNTLwriteprob(s.env, s.lp, model.c_str(), nullptr));
        write_page(s, *report);
    } catch (const failure &what) {
        report->trouble = what;
    }
}

// A wrong name would show only when a long solve has ended.
static void check_files(const solve_options &o)
{
    for (const std::string &file : {o.solutionfile, o.basisfile, o.modelfile, o.reportfile})
        if (!file.empty()) file_check_writable(file);
}

std::optional<solve_report> solve(session &s)
{
    check_files(s.options);
    if (s.options.action == solve_options::ATTACH)
        session_attach(s, SESSION_PATIENCE);
    else
        session_open(s);
    if (!run(s)) return std::nullopt;
    s.shown.close();
    solve_report report;
    if (s.saw_end) report.seconds = s.shown.elapsed();
    report.server = s.server;
    report.model = s.model;
    report.stat = s.solver.VNTLgetstat(s.env, s.lp);
    report_model(s, &report);
    report_solution(s, &report);
    check_worker(s);
    end_history(s, report);
    write_files(s, &report);
    return report;
}

} // namespace vnt
