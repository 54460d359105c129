// rows.h: what the list of solver calls says of a function's parameters.
//
// Threads: any; the list is constant.

#pragma once

#include "docs/reference/header.h"

namespace vnt {

struct parameter_row {
    std::string name;
    std::string type;      // of an array, of its elements
    std::string direction; // "in", "out" or "in, out"
    std::string length;    // elements of an array, in words; empty where it is none or unknown
};

// One for each parameter, in order.  A function without a row is described from its types alone.
std::vector<parameter_row> parameter_rows(const header_function &f);

// The statuses that a function's parameters can lead to, besides what its comment says.  None where
// a value is returned in place of a status.
std::vector<std::string> error_names(const header_function &f, bool supported);

// Whether the function returns a value or a count: its comment begins with "Returns".
bool returns_value(const header_function &f);

} // namespace vnt
