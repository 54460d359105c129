// measure.h: questions about a model that need no engine.
//
// The points that engines return are judged here, by one measure and in the model's own rows,
// columns and sense.
//
// Threads: any; nothing here is changed or owned.

#pragma once

#include "solver/engine/engine.h"

namespace vnt {

// Bounds that are no bounds.
inline bool engine_is_inf(double bound)
{
    return bound <= -VNT_INFINITY || bound >= VNT_INFINITY;
}

// Whether column j must be integer.
inline bool engine_is_int(const engine_model &model, int j)
{
    return model.ctype != nullptr && (model.ctype[j] == 'B' || model.ctype[j] == 'I');
}

// Whether all integer columns have two finite bounds.  Probing loses solutions where one has not.
bool engine_ints_bounded(const engine_model &model);

// The entries of the matrix, each counted as often as its row and its column are long.
double engine_length(const engine_model &model);

double engine_objective(const engine_model &model, const double *x); // offset included
std::vector<double> engine_activity(const engine_model &model, const double *x);

// c - A'y, or -A'y where c is null: the reduced costs that row prices leave.
std::vector<double> engine_reduced_costs(const engine_model &model, const double *c,
                                         const double *y);

// How far x is outside of the bounds of columns and rows: the largest distance, each divided by
// the magnitude of its bound where that is above one; and how far the second of a pair is from 0
// where the first is 1.
double engine_violation(const engine_model &model, const double *x);

// How far x's integer columns are from integers, at most.
double engine_fraction(const engine_model &model, const double *x);

// The same for the signs of reduced costs and row prices at x, in the model's sense.
double engine_dual_violation(const engine_model &model, const engine_result &result);

// The distance of the values that the objective can take in integer points: all are the offset and
// a multiple of this.  0 where they are not so regular, as with a cost on a continuous column.
double engine_objective_step(const engine_model &model);

// A model without nonzeros is solved column by column; true when it was one.
bool engine_solve_empty(const engine_model &model, double tolerance, engine_result *result);

// How far apart the row weights y keep what the rows ask and the most that the columns allow, when
// that shows that no x is feasible; else 0.
double engine_infeasibility_proof(const engine_model &model, const std::vector<double> &y);

// Whether two bounds of a row or column exclude each other, or a row without entries asks for
// something; if so, weights and value of the proof go into the result.
bool engine_trivially_infeasible(const engine_model &model, double tolerance,
                                 engine_result *result);

// Whether direction d shows that the objective has no limit.
bool engine_proves_unbounded(const engine_model &model, const std::vector<double> &d);

// Fills activity and slack of a result from its x, and its objective.
void engine_fill_rows(const engine_model &model, engine_result *result);

} // namespace vnt
