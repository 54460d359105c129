// report.h: the result of a solve, printed for people and for programs.

#pragma once

#include "tools/exits.h"
#include "tools/progress.h"
#include "tools/solution.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vnt {

struct solve_report {
    int stat = 0;                   // VNT_STAT_*
    bool running = false;           // the solve was left and goes on
    std::optional<failure> trouble; // what went wrong, even beside a result
    std::optional<double> objective;
    std::optional<double> bound;
    int rows = 0;
    int columns = 0;
    int64_t nonzeros = 0;
    int integers = 0;
    int64_t iterations = 0;
    int64_t nodes = 0;
    std::optional<double> seconds;   // unknown when the solve ended before it was attached
    std::string server;              // empty: this process
    std::string model;               // as it was named, or "standard input"
    std::vector<named_value> values; // of the solution, in the order of the columns
};

// The exit status: that of the trouble, else the one for the way the solve ended.
exit_status report_exit(const solve_report &report);

// A few lines for people.
std::string report_summary(const solve_report &report);

// The largest values of the solution by magnitude, without zeros, at most so many.
std::vector<named_value> report_largest(const solve_report &report, size_t most);

// How the solve ended, for people.
std::string report_end(const solve_report &report);

// One JSON object, a member a line, as docs/schema/result.json describes it.
std::string report_json(const solve_report &report, bool solution);

} // namespace vnt
