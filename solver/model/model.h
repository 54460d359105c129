// model.h: a problem in its caller's terms: columns, rows, coefficients, names.
//
// A model answers every query about the problem and takes every change.  Engines see a copy, made
// at each solve.  Numbers of magnitude VNT_INFINITY and more are kept as VNT_INFINITY.
//
// Threads, here and in problem/ and formats/: one at a time, also to read.  The environment's lock
// sees to that.
//
// Errors: a failing change leaves the model as it was.  Failures: VNTERR_INDEX_RANGE,
// VNTERR_BAD_NUMBER, VNTERR_BAD_SENSE, VNTERR_BAD_CTYPE, VNTERR_BAD_BOUND, VNTERR_DUPLICATE_ENTRY.

#pragma once

#include "solver/model/matrix.h"
#include "solver/model/names.h"

namespace vnt {

// New columns; null lists stand for costs of 0, bounds 0 and infinity (0 and 1 for binaries) and
// continuous columns.
struct new_columns {
    int count;
    const double *objective;
    const double *lower;
    const double *upper;
    const char *ctype;
    const char *const *names;
};

// New rows; null lists stand for right-hand sides and ranges of 0 and equations.
struct new_rows {
    int count;
    const double *rhs;
    const char *sense;
    const double *range;
    const char *const *names;
};

// A starting point of the search: values of some columns.
struct mip_start {
    std::string name;
    int effort;
    std::vector<int> index;
    std::vector<double> value;
};

// A special ordered set: of its columns, in the order of their weights, at most one (type 1) or two
// neighbours (type 2) are other than 0.
struct special_set {
    std::string name;
    char type; // '1' or '2'
    std::vector<int> index;
    std::vector<double> weight;
};

// A row that must hold if its column is 1, or 0 if complemented.
struct indicator {
    std::string name;
    int type; // INDICATOR_IF
    int column;
    bool complemented;
    char sense; // L, G or E
    double rhs;
    std::vector<int> index;
    std::vector<double> value;
};
static constexpr int INDICATOR_IF = 1;

// A row beside the matrix: a lazy constraint or a user cut.
struct row_beside {
    std::string name;
    char sense; // L, G or E
    double rhs;
    std::vector<int> index;
    std::vector<double> value;
};

// Which column the search should branch on first: the greater the priority, the earlier.
struct branching {
    int column;
    int priority;
    int direction; // -1 down first, 1 up first, 0 the solver's choice
};

struct model {
    std::string name;
    std::string objname = "obj";
    int type = VNT_PROB_LP;
    int sense = VNT_MIN;
    double offset = 0;

    std::vector<double> objective, lower, upper;
    std::string ctype; // kept, but ignored, while the type is LP
    name_list col_names{'x'};

    // A row of sense R lies between rhs and rhs + range, which may be negative.  Others have range
    // 0.
    std::vector<double> rhs, range;
    std::string row_sense;
    name_list row_names{'c'};

    matrix a;

    // Q of the quadratic part of the objective, 1/2 x'Qx, with both triangles.  It has no rows and
    // columns if the objective is linear.
    matrix q;

    std::vector<special_set> sets;
    std::vector<indicator> indicators;
    std::vector<branching> order;
    std::vector<row_beside> lazies, user_cuts;

    int numcols() const { return a.cols(); }
    int numrows() const { return a.rows(); }
    bool quadratic() const { return q.cols() > 0; }
    bool discrete() const { return type == VNT_PROB_MIP || type == VNT_PROB_MIQP; }
    // Whether the columns' types count.  A fixed MIP still has them for queries.
    bool typed() const { return discrete() || type == VNT_PROB_FIXED_MIP; }
    double row_lower(int i) const;
    double row_upper(int i) const;

    // `entries` may be null where the new lines are empty.
    void append_cols(const new_columns &cols, const matrix_lines *entries);
    void append_rows(const new_rows &rows, const matrix_lines *entries);
    void keep_cols(const std::vector<int> &place, int left);
    void keep_rows(const std::vector<int> &place, int left);

    // A copy with the lazy constraints and then the user cuts as rows at the end.
    model with_all_rows() const;

    static void check_cols(const new_columns &cols);
    static void check_rows(const new_rows &rows);
    static void check_sense(char sense);
    static void check_ctype(char type);
    static void check_bound(char which, double value); // which: L, U or B

    // For arguments that were checked.
    void set_bound(int j, char which, double value);
    void set_sense(int i, char sense);
    void set_ctype(int j, char type);
    void make_discrete(); // turns a continuous type into the discrete one, keeps other types
    // Sets Q(i,j) and Q(j,i); the first one that is not 0 makes the problem quadratic.
    void set_quadratic(int i, int j, double value);
    void clear_quadratic();
    // After entries became 0: without any the problem is not quadratic.
    void settle_quadratic();

    std::vector<double> activities(const double *x) const; // one per row
    std::vector<double> slacks(const double *x) const;     // rhs - activity
    double objective_at(const double *x) const;            // with quadratic part and offset
    double indicator_slack(const indicator &c, const double *x) const; // rhs - activity
};

// The number as it is stored, -0 as 0; fails for NaN.
double model_number(double value);
// Likewise a number whose magnitude must be below VNT_INFINITY.
double model_finite(double value);

} // namespace vnt
