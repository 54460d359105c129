#include "solver/engine/lazy.h"

#include <algorithm>
#include <cmath>

namespace vnt {

engine_lazy_rows::engine_lazy_rows(const engine_model &given, double tolerance)
    : given(given), tolerance(tolerance), out(given), states(given.beside.count, waiting)
{
}

// How far x is beyond the row, relative to the side that it misses.
double engine_lazy_rows::missed(int k, const double *x) const
{
    const engine_rows &rows = given.beside;
    double activity = 0;
    for (int64_t e = rows.begin[k]; e < rows.begin[k + 1]; e++)
        activity += rows.value[e] * x[rows.index[e]];
    double low = rows.lower[k], high = rows.upper[k];
    return std::max((low - activity) / std::max(1.0, std::fabs(low)),
                    (activity - high) / std::max(1.0, std::fabs(high)));
}

bool engine_lazy_rows::violated(const double *x, bool cuts)
{
    bool any = false;
    for (int k = 0; k < (cuts ? given.beside.count : given.beside.lazy); k++) {
        if (states[k] == joined || missed(k, x) <= tolerance) continue;
        states[k] = called;
        any = true;
    }
    return any;
}

bool engine_lazy_rows::all()
{
    auto lazy = states.begin() + given.beside.lazy;
    bool any = std::find(states.begin(), lazy, waiting) != lazy;
    std::replace(states.begin(), lazy, waiting, called);
    return any;
}

void engine_lazy_rows::start_from(const engine_result &relaxed)
{
    cstat = relaxed.cstat;
    rstat = relaxed.rstat;
}

void engine_lazy_rows::join()
{
    size_t before = order.size();
    for (int k = 0; k < given.beside.count; k++) {
        if (states[k] != called) continue;
        states[k] = joined;
        order.push_back(k);
    }
    if (order.size() == before) return;
    append();
    rstat.resize(out.numrows, VNT_BASIS_BASIC);
    bool basis = cstat.size() == static_cast<size_t>(given.numcols);
    out.cstat = basis ? cstat.data() : nullptr;
    out.rstat = basis ? rstat.data() : nullptr;
}

// Makes the matrix anew, column by column: the given rows, then those that joined.
void engine_lazy_rows::append()
{
    const engine_rows &rows = given.beside;
    std::vector<std::vector<std::pair<int, double>>> more(given.numcols);
    lower.assign(given.row_lower, given.row_lower + given.numrows);
    upper.assign(given.row_upper, given.row_upper + given.numrows);
    for (int k : order) {
        for (int64_t e = rows.begin[k]; e < rows.begin[k + 1]; e++)
            more[rows.index[e]].emplace_back(static_cast<int>(lower.size()), rows.value[e]);
        lower.push_back(rows.lower[k]);
        upper.push_back(rows.upper[k]);
    }
    begin.assign(1, 0);
    index.clear();
    value.clear();
    for (int j = 0; j < given.numcols; j++) {
        index.insert(index.end(), given.index + given.begin[j], given.index + given.begin[j + 1]);
        value.insert(value.end(), given.value + given.begin[j], given.value + given.begin[j + 1]);
        for (auto [row, v] : more[j]) {
            index.push_back(row);
            value.push_back(v);
        }
        begin.push_back(static_cast<int64_t>(index.size()));
    }
    out.numrows = static_cast<int>(lower.size());
    out.begin = begin.data();
    out.index = index.data();
    out.value = value.data();
    out.row_lower = lower.data();
    out.row_upper = upper.data();
}

} // namespace vnt
