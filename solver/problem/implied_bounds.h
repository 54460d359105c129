// implied_bounds.h: the bounds of columns that the rows imply.
//
// They serve as big M.  With a bound much larger than the column can get, the tolerance, which is
// relative to it, would hide violations.

#pragma once

#include "solver/model/model.h"

namespace vnt {

struct column_bounds {
    std::vector<double> lower, upper;
};

// Bounds that follow from rows and column bounds alone, without sets and indicators.  The range of
// a semi-continuous column includes 0.
column_bounds implied_bounds(const model &m);

} // namespace vnt
