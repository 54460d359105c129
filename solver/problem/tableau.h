// tableau.h: the simplex tableau of a problem in a basis, and what follows from it.
//
// Variables are the columns and behind them the slacks, one for each row: activity + slack =
// right-hand side.  The slack of row i has the number numcols + i.  The basis matrix B has a column
// of the matrix for each basic column and a unit column for each basic slack; positions count its
// columns.
//
// Ownership: a tableau refers to the model, which must not change while it lives.
//
// Threads: one at a time, also for the const functions.
//
// Errors: failures; VNTERR_BAD_BASIS where the basis matrix is singular.

#pragma once

#include "solver/engine/factors.h"
#include "solver/model/model.h"

namespace vnt {

// The numbers between which something may move; infinite from VNT_INFINITY on.
struct value_range {
    double low, high;
};

class tableau {
  public:
    tableau(const model &m, const std::vector<int> &cstat, const std::vector<int> &rstat);

    int numcols() const { return m.numcols(); }
    int numrows() const { return m.numrows(); }
    const std::vector<int> &head() const { return factors.head(); }
    int position(int variable) const { return places[variable]; } // -1 where it is not basic
    const engine_factors &basis() const { return factors; }

    std::vector<double> unit(int k) const;           // a vector of rows with a 1 at k
    std::vector<double> column(int variable) const;  // its matrix column, one element per row
    std::vector<double> updated(int variable) const; // B^-1 times that
    std::vector<double> row(int position) const;     // of B^-1 A, one element per variable

    // One per variable.  A nonbasic variable is at a bound, or at 0 if it has none.
    const std::vector<double> &values() const { return x; }
    const std::vector<double> &reduced_costs() const { return d; } // in the sense of minimising

    // Of an optimal basis: between what numbers one coefficient of the problem may move, all else
    // unchanged, while the basis stays optimal.
    value_range cost_range(int j) const;
    value_range rhs_range(int i) const;
    value_range lower_range(int variable) const; // of its bound
    value_range upper_range(int variable) const;
    value_range row_lower_range(int i) const; // of the row's bound
    value_range row_upper_range(int i) const;

    // The rate at which the objective worsens when a basic column is forced below, or above, its
    // value; infinite where it cannot move there.
    void leaving_prices(int j, double *down, double *up) const;

  private:
    enum place { AT_LOWER, AT_UPPER, BASIC, FREE, FIXED };

    place place_of(int variable, int status) const;
    place active_place(int variable) const;
    value_range rest_range(int variable) const;
    double resting(int variable) const;
    std::vector<double> find_values() const;
    std::vector<double> find_reduced_costs() const;
    value_range until_infeasible(const std::vector<double> &step) const;

    const model &m;
    engine_factors factors;
    std::vector<double> lower, upper; // of all variables
    std::vector<place> where;
    std::vector<int> places;
    std::vector<double> x, d; // values and reduced costs
};

} // namespace vnt
