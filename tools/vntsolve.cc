// vntsolve: solves a model file from the command line.
#include "tools/solve.h"

#include <fmt/format.h>

// A failed solve has its object, too, for the program that reads it.
static int fail(const solve_options &options, const failure &what)
{
    fmt::print(stderr, "vntsolve: {}\n", what.message);
    if (options.json) {
        solve_report report;
        report.text = what.message;
        if (options.server) report.server = address_text(*options.server);
        fmt::print("{}", report_json(report));
    }
    return what.status;
}

static int run(const solve_options &options)
{
    try {
        std::optional<solve_report> report = solve(options);
        if (!report) return EXIT_SOLVED;
        if (options.json)
            fmt::print("{}", report_json(*report));
        else if (!options.quiet)
            fmt::print("{}", report_summary(*report));
        return report_exit(*report);
    } catch (const failure &what) {
        return fail(options, what);
    } catch (const std::exception &what) {
        return fail(options, {EXIT_INTERNAL, what.what()});
    }
}

int main(int argc, char **argv)
{
    try {
        std::optional<solve_options> options = options_parse(argc, argv);
        return options ? run(*options) : 0;
    } catch (const failure &what) {
        fmt::print(stderr, "vntsolve: {}\n", what.message);
        return what.status;
    }
}
