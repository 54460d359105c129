// solution.h: solutions as files of names and values, one pair a line, as other tools read them.
//
//     # status optimal
//     # objective 3089
//     C157 1
//     C158 0
//
// A value stands behind the last blank of its line, for names may hold blanks.  Lines that begin
// with # are comments.

#pragma once

#include <string>
#include <vector>

namespace vnt {

struct named_value {
    std::string name;
    double value;
};

// Errors: throws failure with EXIT_UNREADABLE.
void solution_write(const std::string &file, const std::vector<std::string> &comments,
                    const std::vector<named_value> &values);

// Errors: throws failure with EXIT_UNREADABLE, or EXIT_MALFORMED with the line's number.
std::vector<named_value> solution_read(const std::string &file);

// Does the file begin as the solver's own files of solutions or starts do?
bool solution_is_solvers(const std::string &file);

} // namespace vnt
