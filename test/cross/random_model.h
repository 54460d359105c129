// random_model.h: random models of ten kinds, and the judgement of points.
//
// Nothing here uses the solver: a model is data, and a point is checked in terms of that data.
// The same seed makes the same model everywhere.

#pragma once

#include "vanto.h"

#include <string>
#include <vector>

namespace vnt {

struct random_column {
    double cost, lower, upper;
    char type; // C, B, I, S or N
};

// An indicator constraint when `binary` is a column: then it holds only where that is 1, or 0 when
// complemented.
struct random_row {
    double lower = -VNT_INFINITY, upper = VNT_INFINITY;
    std::vector<int> index;
    std::vector<double> value;
    int binary = -1;
    bool complemented = false;
};

struct random_set {
    char type;              // '1' or '2'
    std::vector<int> index; // in their order
};

struct random_model {
    const char *kind = "";
    int sense = VNT_MIN;
    double offset = 0;
    std::vector<random_column> columns;
    std::vector<random_row> rows; // the indicator constraints as well
    std::vector<random_set> sets;
    std::vector<double> known; // a feasible point where the model was made around one

    bool discrete() const; // false for a linear program
};

static constexpr int random_kinds = 10;

// The model of a seed; seed modulo random_kinds is its kind.
random_model random_model_make(unsigned seed);

const char *random_kind_name(int kind);

double objective_of(const random_model &m, const std::vector<double> &x);
double activity_of(const random_row &r, const std::vector<double> &x);

// What is wrong with x, empty when it is a feasible point.  A distance counts relative to the
// largest term of its row, never to the bound.
std::string point_fault(const random_model &m, const std::vector<double> &x, double tolerance);

} // namespace vnt
