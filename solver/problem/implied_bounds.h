// implied_bounds.h: the bounds of columns that follow from rows.
//
// They serve as big M: of a bound that is far from what a column can reach, a tolerance relative
// to it would let through too much.

#pragma once

#include "solver/model/model.h"

namespace vnt {

struct column_bounds {
    std::vector<double> lower, upper;
};

// Every feasible point's columns are within them, whatever set or indicator holds as well.  A
// semi-continuous column's range has 0 in it.
column_bounds implied_bounds(const model &m);

} // namespace vnt
