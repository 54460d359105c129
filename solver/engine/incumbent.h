// incumbent.h: the best solution of a mixed-integer problem, in the model's own columns.
//
// Every solution that is found anywhere, in the search, by a heuristic or in the caller's start,
// is offered here, and counts once it has been checked against the model itself.  So a solution
// that survives here survives whatever the search forgets when it is stopped.

#pragma once

#include "solver/engine/lazy.h"

namespace vnt {

class engine_incumbent {
  public:
    // The last of the result's solutions, where it has any, is the first incumbent.
    engine_incumbent(const engine_model &model, const engine_params &params, engine_poll &poll,
                     engine_result &result, engine_lazy_rows *lazy = nullptr);

    // Takes x if it is feasible and better than what is there and than the cutoff.  Integer columns
    // are rounded; where that, or a postsolve, has spoilt the rest, the continuous columns are
    // found anew.  Where it violates lazy constraints that the search does not know, a new round
    // begins.
    bool offer(std::vector<double> x);

    bool has_solution() const { return !result.solutions.empty(); }
    double value() const { return best; } // in the minimising sense, infinite without one

  private:
    bool complete(std::vector<double> *x);
    bool better(double value) const;
    void take(std::vector<double> x, double value);

    const engine_model &model;
    const engine_params &params;
    engine_poll &poll;
    engine_result &result;
    engine_lazy_rows *lazy;
    double best;
    int64_t found = 0;
    static constexpr size_t kept = 100;
};

// Values of the columns with the integer ones held at x's (free where x is NaN), or nothing where
// there are none.  A linear problem.
std::vector<double> engine_fixandsolve(const engine_model &model, const engine_params &params,
                                       engine_poll &poll, const std::vector<double> &x);

} // namespace vnt
