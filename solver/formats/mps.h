// mps.h: models as MPS files, read and written.
//
// Read: free format, and fixed format where names hold blanks; OBJSENSE, OBJNAME, ROWS, COLUMNS
// with integer markers, RHS, RANGES, BOUNDS with BV, LI, UI and SC, SOS, QUADOBJ, QSECTION, QMATRIX
// and INDICATORS.  An entry of the right-hand side in the objective row is the negative of the
// objective's constant.  An integer column without a bound is between 0 and 1.  A semi-continuous
// column with the bound 0, or with none, has no upper bound.
//
// Read with a remark: further free rows, which are ignored; further vectors in RHS, RANGES or
// BOUNDS, of which only the first is used; an upper bound below 0, which removes the lower bound of
// 0; binary columns with bounds beyond 0 and 1.
//
// Written: fixed format if names and numbers fit, else free format, declared behind the name.  It
// reads back to the same bits.  A row without sides gets a side of 1e20.
//
// Errors: failures with VNTERR_FILE_FORMAT that name the line, VNTERR_FILE_FEATURE for sections
// that this solver does not support.

#pragma once

#include "solver/model/model.h"

#include <string>

namespace vnt {

// `remarks` gets a line for each of the remarks above.
model mps_read(const std::string &text, std::string *remarks);

// `made` says whether names had to be invented because the format cannot hold the model's own.
std::string mps_write(const model &m, bool *made);

} // namespace vnt
