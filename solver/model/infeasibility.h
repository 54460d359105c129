// infeasibility.h: by how much a point violates the constraints of a model.
//
// Each function returns one number per element, 0 if it is satisfied.  For rows and columns the
// number is positive above the range and negative below it.

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
