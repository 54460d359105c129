// vntsolve: solves a model file from the command line.
#include "tools/output.h"
#include "tools/solve.h"

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
        if (options.server) report.server = address_text(*options.server);
        try {
            output_result(report_json(report));
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
        output_result(report_json(report));
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

static int run(const solve_options &options)
{
    try {
        return solve_and_tell(options);
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

static int parse_and_run(int argc, char **argv)
{
    std::optional<solve_options> options;
    try {
        options = options_parse(argc, argv);
    } catch (const failure &what) {
        return fail(guess(argc, argv), what);
    }
    return options ? run(*options) : EXIT_SOLVED;
}

int main(int argc, char **argv)
{
    output_begin();
    try {
        return parse_and_run(argc, argv);
    } catch (const failure &what) {
        output_complaint(what.message);
        return what.status;
    }
}
