// report.h: the result of a solve, printed for people and for programs.

#pragma once

#include "tools/exits.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vnt {

struct named_value {
    std::string name;
    double value;
};

struct solve_report {
    int stat = 0;                   // VNT_STAT_*
    std::optional<failure> trouble; // what went wrong, even beside a result
    std::optional<double> objective;
    std::optional<double> bound;
    int rows = 0;
    int columns = 0;
    int64_t nonzeros = 0;
    int integers = 0;
    int64_t iterations = 0;
    int64_t nodes = 0;
    std::optional<double> seconds;    // unknown when the solve ended before it was attached
    std::string server;               // empty: this process
    std::vector<named_value> largest; // the largest values of the solution, by magnitude
};

// The exit status: that of the trouble, else the one for the way the solve ended.
exit_status report_exit(const solve_report &report);

// A few lines for people.
std::string report_summary(const solve_report &report);

// One JSON object, one member per line, numbers with 17 significant digits; values that are unknown
// or not finite are null.
std::string report_json(const solve_report &report);

} // namespace vnt
