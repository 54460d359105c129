// filter.h: what a solution must be like to enter the pool.

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

    // Whether the sum of weight x, or of weight |x - reference|, lies between the two, but for
    // the noise of the arithmetic.
    bool passes(const double *x) const;
};

} // namespace vnt
