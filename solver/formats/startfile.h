// startfile.h: MIP starts as a file.
//
//     starts of p0033
//     start 4 2 m1
//     1 C157
//     0 C158
//     end
//
// The line of a start holds its effort level, the number of its values and its name; a value's line
// the value and the column's name.
//
// Errors: failures with VNTERR_FILE_FORMAT that name the line.

#pragma once

#include "solver/model/model.h"

namespace vnt {

// `count` starts from the first one on.
std::string starts_write(const model &m, const mip_start *first, int count);
std::vector<mip_start> starts_read(const std::string &text, const model &m);

// Does the text begin like such a file?
bool starts_inside(const std::string &text);

} // namespace vnt
