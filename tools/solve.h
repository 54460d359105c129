// solve.h: one solve from the model file to the report, in this process or in a worker.
//
// Threads: one solve at a time; the first interrupt from the keyboard stops it and the report
// tells of the best solution found, the second ends the program.

#pragma once

#include "tools/options.h"
#include "tools/report.h"

// Log lines go to standard error as they come.
// Errors: throws failure.
solve_report solve(const solve_options &options);
