// lpformat.h: models as LP files, the format that reads like algebra.
//
//     maximize
//      obj: 3 x + 2 y + 1
//     subject to
//      limit: x + y <= 4
//      both: 1 <= x - y <= 3
//     bounds
//      x <= 2.5
//     general
//      y
//     end
//
// Also: minimize, such that, st, s.t., free columns, binary and semi-continuous sections, comments
// behind a backslash.  Columns stand in the order in which they first appear.
//
// What is written reads back to the same columns, rows and bounds; only a row of sense R comes
// back as its two bounds tell.
//
// Errors: failures with VNTERR_FILE_FORMAT that tell the line; VNTERR_FILE_FEATURE for quadratic
// terms, indicators and special ordered sets.

#pragma once

#include "solver/model/model.h"

#include <string>

namespace vnt {

model lp_read(const std::string &text, std::string *remarks);

// `made` tells whether names had to be made because the format has no place for the model's own.
std::string lp_write(const model &m, bool *made);

} // namespace vnt
