// lazy.h: rows that join a mixed-integer problem once a point violates them.
//
// The search does not know those that wait, so that its presolve is right for what it knows.  A
// solution is checked against the waiting lazy constraints before it counts.  When it violates
// some, the search ends, they join the problem, and the search begins anew, with the best solution
// and the bound that it had.  Every such round brings a row at least, so there is an end.  The
// relaxation is checked likewise, against the user cuts too.
//
// Ownership: the model given to the constructor outlives the object.

#pragma once

#include "solver/engine/clp.h"

namespace vnt {

class engine_lazy_rows {
  public:
    engine_lazy_rows(const engine_model &given, double tolerance);

    // The problem with the rows that have joined; its arrays live as long as this object and until
    // the next join().
    const engine_model &model() const { return out; }

    // Calls up the waiting rows that x violates, user cuts only where `cuts` is set.  Returns
    // whether it found one.
    bool violated(const double *x, bool cuts);
    // Calls up all lazy constraints that wait.  Returns whether there was one.
    bool all();

    // The solved relaxation is where that of the next round starts.
    void start_from(const engine_result &relaxed);

    // What was called up joins the problem.
    void join();

  private:
    enum state : char { waiting, called, joined };
    double missed(int k, const double *x) const;
    void append();

    const engine_model &given;
    const double tolerance;
    engine_model out;
    std::vector<state> states; // of given.beside
    std::vector<int> order;    // those that joined, as rows from given.numrows on
    std::vector<int64_t> begin;
    std::vector<int> index, cstat, rstat;
    std::vector<double> value, lower, upper;
};

} // namespace vnt
