// vntsolve: solves a model file from the command line.
#include "tools/output.h"
#include "tools/params.h"
#include "tools/solve.h"
#include "tools/sweep.h"
#include "tools/visit.h"

#include <algorithm>
#include <string_view>

using namespace vnt;

// With --json a failed solve prints an object, too: a program reads it.
static int fail(const solve_options &options, const failure &what)
{
    output_complaint(what.message);
    if (options.json) {
        solve_report report;
        report.trouble = what;
        if (options.server) report.server = *options.server;
        try {
            output_result(report_json(report, options.solution));
        } catch (const failure &) {
            // Standard output may be the trouble that is being reported.
        }
    }
    return what.status;
}

static int tell(const solve_options &options, const solve_report &report)
{
    if (report.trouble) output_complaint(report.trouble->message);
    if (options.json)
        output_result(report_json(report, options.solution));
    else if (!options.quiet)
        output_result(report_summary(report));
    return report_exit(report);
}

static int solve_and_tell(const solve_options &options)
{
    session s(options);
    std::optional<solve_report> report = solve(s);
    if (!report) return EXIT_SOLVED;
    int status = tell(options, *report);
    if (!report->trouble) session_told(s);
    return status;
}

static int params_tell(const solve_options &options)
{
    session s(options);
    session_openenv(s);
    const std::vector<param_row> rows = params_list(s.solver, s.env);
    output_result(options.json ? params_json(rows) : params_table(rows));
    return EXIT_SOLVED;
}

static int status_tell(const solve_options &options)
{
    session s(options);
    output_result(visit_status(s));
    return EXIT_SOLVED;
}

static int kill_and_tell(const solve_options &options)
{
    session s(options);
    visit_kill(s);
    if (!options.quiet) output_note(s.model + " is ended\n");
    return EXIT_SOLVED;
}

static int act(const solve_options &options)
{
    switch (options.action) {
    case solve_options::PARAMS: return params_tell(options);
    case solve_options::STATUS: return status_tell(options);
    case solve_options::KILL: return kill_and_tell(options);
    case solve_options::SWEEP: return sweep(options);
    default: return solve_and_tell(options);
    }
}

static int run(const solve_options &options)
{
    try {
        return act(options);
    } catch (const failure &what) {
        return fail(options, what);
    } catch (const std::exception &what) {
        return fail(options, {EXIT_INTERNAL, what.what()});
    }
}

// The options for reporting a command line that cannot be parsed.
static solve_options guess(int argc, char **argv)
{
    solve_options options;
    options.json = std::find(argv, argv + argc, std::string_view("--json")) != argv + argc;
    return options;
}

int main(int argc, char **argv)
{
    output_begin();
    std::optional<solve_options> options;
    try {
        options = options_parse(argc, argv);
    } catch (const failure &what) {
        return fail(guess(argc, argv), what);
    }
    return options ? run(*options) : EXIT_SOLVED;
}
