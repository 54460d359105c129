// mip_search.h: one search for the best solution of a mixed-integer problem.
//
// A driver of the branch-and-cut library, in place of its own, which takes SIGINT for good and
// forgets the incumbent when it is stopped.
//
// The road (mip.cc): the relaxation; the caller's start; preprocessing, and the way back from it
// (mip_reduce.cc); branch and cut with cuts and heuristics that are bounded in work, never in time
// (mip_setup.cc).  Each solution is carried back to the model's own columns at the moment it is
// found (mip_events.cc).
//
// Ownership: what the constructor takes outlives the search.
// Threads: the solving thread alone.

#pragma once

#include "solver/engine/incumbent.h"
#include "solver/engine/lazy.h"

#include <CbcModel.hpp>
#include <CglPreProcess.hpp>
#include <OsiClpSolverInterface.hpp>

#include <cmath>
#include <limits>
#include <memory>

namespace vnt {

class mip_search {
  public:
    // A search within a search, for a start with gaps or a question of feasibility, leaves the
    // report of nodes and bound to the outer one.
    // `lazy` may be null; a search within has that of the outer one.
    mip_search(const engine_model &model, const engine_params &params, engine_poll &poll,
               engine_result &result, engine_lazy_rows *lazy, bool inner = false)
        : model(model), params(params), poll(poll), result(result), lazy(lazy), inner(inner),
          bounds(model), incumbent(model, params, poll, result, lazy)
    {
        // An earlier round has done some work and proved a bound.
        if (inner) return;
        nodes_before = poll.seen.nodes;
        if (std::fabs(poll.seen.bound) < VNT_INFINITY) bound = model.sense * poll.seen.bound;
    }
    void run();

    // What the events of the search tree bring.
    void solution(const double *x);
    void tree_status();
    void apply_cutoff();

  private:
    bool relax();
    bool separated(const engine_result &relaxed);
    void unbounded(const engine_result &relaxed);
    engine_result find_feasible();
    void boxed();
    void out_of_box();
    void settle_boxed(const std::vector<double> &x);
    void start();
    bool try_start(const double *given);
    void complete_start(const double *given);
    void reduce();
    void keep_continuous();
    void unreduce();
    void set_bounds();
    bool lost() const;
    void search();
    void leaf();
    void setup();
    void default_options();
    bool narrow() const;
    void count_nodes();
    void add_cuts();
    void add_heuristics();
    void add_pairs();
    void set_order();
    void limits();
    void choose_strength();
    int verdict();
    void conclude();
    void fill();
    void raise(double proved);
    double strictly(double cutoff) const;
    void by_objective();
    std::vector<double> lift(const double *x);

    const engine_model &model;
    const engine_params &params;
    engine_poll &poll;
    engine_result &result;
    engine_lazy_rows *const lazy;
    const bool inner;
    int64_t nodes_before = 0;
    const engine_arrays bounds;
    engine_incumbent incumbent;
    engine_silence silence;

    std::unique_ptr<OsiClpSolverInterface> original;
    std::unique_ptr<CglPreProcess> process; // owns what it makes
    OsiSolverInterface *reduced = nullptr;  // of `process`, or `original` without
    std::unique_ptr<CbcModel> cbc;
    double applied = std::numeric_limits<double>::infinity(); // the cutoff that the search has
    double claimed = std::numeric_limits<double>::infinity(); // the best value it said it had found
    double bound = -std::numeric_limits<double>::infinity();  // proved so far, minimising
    bool exhausted = false;                                   // everything has been looked at
};

} // namespace vnt
