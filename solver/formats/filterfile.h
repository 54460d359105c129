// filterfile.h: filters of the solution pool as a file.
//
//     filters of p0033
//     range 0.5 1e+20 2 early
//     1 C157
//     -2 C158
//     diversity 2 1e+20 1 other
//     1 0 C159
//     end
//
// A filter's line tells its lower and upper bound, the number of its terms and its name.  A term of
// a range is a weight and the name of a column, with a reference value before the name in a
// filter of diversity.
//
// Errors: failures with VNTERR_FILE_FORMAT that tell the line.

#pragma once

#include "solver/model/model.h"
#include "solver/problem/filter.h"

namespace vnt {

std::string filters_write(const model &m, const std::vector<pool_filter> &filters);
std::vector<pool_filter> filters_read(const std::string &text, const model &m);

} // namespace vnt
