// filter.h: the conditions on which a solution enters the pool.

#pragma once

#include "vanto.h"

#include <string>
#include <vector>

namespace vnt {

struct pool_filter {
    std::string name;
    int type; // VNT_FILTER_*
    double lower, upper;
    std::vector<int> index;
    std::vector<double> weight, reference; // no reference in a range

    // Whether the sum of weight x, or of weight |x - reference|, lies between lower and upper, up
    // to rounding errors.
    bool passes(const double *x) const;
};

} // namespace vnt
