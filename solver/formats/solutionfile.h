// solutionfile.h: solutions as text for people and programs.
//
//     solution of p0033
//     status 1 optimal
//     objective 3089
//     columns 33
//     1 0 C157
//     ...
//     rows 16
//     -5 0 0 R118
//
// A column's line holds its value, its reduced cost and its name; a row's line holds activity,
// slack, dual value and name.  Names stand last, for they may hold blanks.  A file may hold several
// solutions one after the other.  A reader wants the value of each column and looks at no row.
//
// Errors: reading fails with VNTERR_FILE_FORMAT and tells the line.

#pragma once

#include "solver/problem/problem.h"

#include <string>

namespace vnt {

// The text of a status, such as "optimal".
const char *status_text(int status);

// `x` with the numbers that belong to it.
struct solution_text {
    int status;
    double objective;
    const std::vector<double> &x, &pi, &dj; // pi and dj may be empty
};
std::string solution_write(const model &m, const solution_text &s);

// The columns of each solution of the file: at least one.
struct solution_columns {
    std::vector<double> x, dj;
};
std::vector<solution_columns> solutions_read(const std::string &text, const model &m);

// Does the text begin like such a file?
bool solution_inside(const std::string &text);

} // namespace vnt
