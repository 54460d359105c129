// basisfile.h: bases as files in the basis part of the MPS format.
//
// All columns are at their lower bounds and all rows basic but for what the lines say: XU and XL
// make a column basic and put a row in its place to its upper or lower bound, UL and LL put a
// column to its upper or lower bound.
//
// Errors: failures with VNTERR_FILE_FORMAT that tell the line.

#pragma once

#include "solver/problem/problem.h"

namespace vnt {

std::string basis_write(const vntlp &p);
void basis_read(vntlp &p, const std::string &text);

} // namespace vnt
