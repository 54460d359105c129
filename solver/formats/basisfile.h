// basisfile.h: bases as files in the basis part of the MPS format.
//
// Columns are at their lower bounds and rows basic unless a line says otherwise: XU and XL make a
// column basic and instead a row nonbasic at its upper or lower bound, UL and LL put a column at
// its upper or lower bound.
//
// Errors: failures with VNTERR_FILE_FORMAT that name the line.

#pragma once

#include "solver/problem/problem.h"

namespace vnt {

std::string basis_write(const vntlp &p);
void basis_read(vntlp &p, const std::string &text);

} // namespace vnt
