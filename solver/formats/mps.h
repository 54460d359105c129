// mps.h: models as MPS files, read and written.
//
// Read: free format, and fixed format where names hold blanks; OBJSENSE, OBJNAME, ROWS, COLUMNS
// with integer markers, RHS, RANGES and BOUNDS with BV, LI, UI and SC.  An entry of the right-hand
// side in the objective row is the negative of the objective's constant; further free rows are
// left out.  An integer column without a bound is between 0 and 1.
//
// Written: what reads back to the same bits.
//
// Errors: failures with VNTERR_FILE_FORMAT that tell the line, VNTERR_FILE_FEATURE for sections
// that this solver does not know what to do with.

#pragma once

#include "solver/model/model.h"

#include <string>

namespace vnt {

// `remarks` gets a line for whatever was read with a grain of salt.
model mps_read(const std::string &text, std::string *remarks);

// `made` tells whether names had to be made because the format has no place for the model's own.
std::string mps_write(const model &m, bool *made);

} // namespace vnt
