// infeasibility.h: by how much a point misses what a model asks of it.
//
// Each function gives one number per element, 0 where the point is all right.  Of rows and columns
// it is positive above the range and negative below it.

#pragma once

#include "solver/model/model.h"

namespace vnt {

std::vector<double> row_infeasibilities(const model &m, const double *x);
std::vector<double> column_infeasibilities(const model &m, const double *x); // of the bounds
std::vector<double> integer_infeasibilities(const model &m, const double *x);
std::vector<double> set_infeasibilities(const model &m, const double *x);
std::vector<double> lazy_infeasibilities(const model &m, const double *x);
std::vector<double> indicator_infeasibilities(const model &m, const double *x);

// The place of the greatest magnitude; 0 in an empty list.
size_t greatest(const std::vector<double> &values);

} // namespace vnt
