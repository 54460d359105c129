#include "solver/engine/factors.h"

#include <climits>
#include <stdexcept>

namespace vnt {

bool engine_factors::factorize(const engine_columns &a, const std::vector<int> &basic)
{
    std::vector<int> row, position;
    std::vector<double> value;
    for (size_t k = 0; k < basic.size(); k++) {
        bool slack = basic[k] >= a.cols;
        int64_t first = slack ? 0 : a.begin[basic[k]], last = slack ? 1 : a.begin[basic[k] + 1];
        for (int64_t e = first; e < last; e++) {
            if (!slack && a.value[e] == 0) continue;
            row.push_back(slack ? basic[k] - a.cols : a.index[e]);
            position.push_back(static_cast<int>(k));
            value.push_back(slack ? 1 : a.value[e]);
        }
    }
    if (row.size() > INT_MAX / 4) throw std::length_error("nonzeros of a basis");
    order.assign(a.rows, 0);
    region.reserve(a.rows);
    work.reserve(a.rows);
    if (a.rows == 0) return true;
    int entries = static_cast<int>(row.size()), room = 3 * entries + 1000;
    std::vector<int> pivot(a.rows);
    int rc = factors.factorize(a.rows, a.rows, entries, room, room, row.data(), position.data(),
                               value.data(), pivot.data());
    if (rc == -99) throw std::bad_alloc();
    if (rc != 0) return false;
    for (int k = 0; k < a.rows; k++)
        order[pivot[k]] = basic[k];
    return true;
}

void engine_factors::pass(double *x, bool forward) const
{
    int rows = static_cast<int>(order.size());
    if (rows == 0) return;
    work.clear();
    for (int i = 0; i < rows; i++)
        if (x[i] != 0) work.quickAdd(i, x[i]);
    region.clear();
    forward ? factors.updateColumn(&region, &work) : factors.updateColumnTranspose(&region, &work);
    std::copy_n(work.denseVector(), rows, x);
}

void engine_factors::ftran(double *x) const
{
    pass(x, true);
}

void engine_factors::btran(double *y) const
{
    pass(y, false);
}

} // namespace vnt
