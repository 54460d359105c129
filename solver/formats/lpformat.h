// lpformat.h: models as LP files, the format that reads like algebra.
//
//     maximize
//      obj: 3 x + 2 y + 1 + [ x ^ 2 - 4 x * y ] / 2
//     subject to
//      limit: x + y <= 4
//      both: 1 <= x - y <= 3
//      only: b = 1 -> x <= 2
//     bounds
//      x <= 2.5
//     general
//      y
//     binary
//      b
//     semi-continuous
//      z
//     sos
//      one: S1:: x:1 y:2
//     end
//
// Also: minimize, such that, st, s.t., free columns, comments behind a backslash.  Columns stand in
// the order in which they first appear.  Names may hold brackets in pairs, such as x[1].
//
// Read with a remark: an upper bound below 0 takes the lower bound of 0 away; a range whose sides
// contradict each other becomes two rows; columns that appear only in bounds, types or
// sets; binary columns with bounds beyond 0 and 1.
//
// What is written reads back to the same model, and writes the same text again, with two
// exceptions: a row of sense R comes back with the same two sides, but perhaps another rhs and
// range; a binary column between other bounds than 0 and 1 comes back as an integer one.
//
// Errors: failures with VNTERR_FILE_FORMAT that name the line; VNTERR_FILE_FEATURE for quadratic
// rows.

#pragma once

#include "solver/model/model.h"

#include <string>

namespace vnt {

model lp_read(const std::string &text, std::string *remarks);

// `made` says whether names had to be invented because the format cannot hold the model's own.
std::string lp_write(const model &m, bool *made);

} // namespace vnt
