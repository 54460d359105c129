// orderfile.h: the order of branching as a file.
//
//     order of p0033
//     10 up C157
//     5 down C158
//     0 any C159
//     end
//
// A line holds a column's priority, the direction to branch into first, and the column's name.  No
// column stands there twice.
//
// Errors: failures with VNTERR_FILE_FORMAT that name the line.

#pragma once

#include "solver/model/model.h"

namespace vnt {

std::string order_write(const model &m);
std::vector<branching> order_read(const std::string &text, const name_list &columns);

} // namespace vnt
