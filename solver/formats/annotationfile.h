// annotationfile.h: annotations as a file.
//
//     annotations of p0033
//     annotation long 0 benders
//     column 1 C157
//     row 2 R118
//     annotation double 0.5 price
//     objective -3
//     end
//
// An annotation's line has its type, default and name.  The values that differ from the default
// follow, each with the name of its object: a column, row, set or indicator.  The objective has no
// name.
//
// Errors: failures with VNTERR_FILE_FORMAT that name the line.

#pragma once

#include "solver/model/annotations.h"

namespace vnt {

std::string annotations_write(const model &m, const annotations &a);
annotations annotations_read(const std::string &text, const model &m);

} // namespace vnt
