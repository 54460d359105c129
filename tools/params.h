// params.h: the parameters of the solver: what they hold, which values they take, and setting them.
//
// Errors: throws failure, with EXIT_USAGE for a name or a value that the solver does not take.

#pragma once

#include "tools/solverlib.h"

#include <string>
#include <utility>
#include <vector>

namespace vnt {

struct param_row {
    int number = 0;
    int type = VNT_PARAMTYPE_NONE;
    std::string name;
    std::string standard, least, greatest; // as text; a string has no bounds
};

// The parameters that the solver has, in the order of their numbers.
std::vector<param_row> params_list(const solver_library &solver, VNTENVptr env);

// A table for people, or a JSON array.
std::string params_table(const std::vector<param_row> &rows);
std::string params_json(const std::vector<param_row> &rows);

// Sets the parameter of a name or a number.
void param_set(const solver_library &solver, VNTENVptr env, const std::string &name,
               const std::string &value);

} // namespace vnt
