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

} // namespace vnt
