#include "solver/problem/filter.h"

#include <algorithm>
#include <cmath>

namespace vnt {

bool pool_filter::passes(const double *x) const
{
    double sum = 0;
    for (size_t k = 0; k < index.size(); k++) {
        double value = x[index[k]];
        sum += weight[k] * (type == VNT_FILTER_RANGE ? value : std::fabs(value - reference[k]));
    }
    auto near = [](double bound) { return 1e-6 * std::max(1.0, std::fabs(bound)); };
    return sum >= lower - near(lower) && sum <= upper + near(upper);
}

} // namespace vnt
