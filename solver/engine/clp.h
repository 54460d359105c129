// clp.h: what both engines do with the linear solver: load a model, hook it up, run it.

#pragma once

#include "solver/engine/measure.h"
#include "solver/engine/poll.h"

#include <ClpEventHandler.hpp>
#include <ClpSimplex.hpp>
#include <CoinMessageHandler.hpp>

#include <functional>

namespace vnt {

// Swallows every message.  One lives as long as what it is passed to.
class engine_silence : public CoinMessageHandler {
  public:
    engine_silence() { setLogLevel(0); }
    engine_silence(const engine_silence &) = default;
    CoinMessageHandler *clone() const override { return new engine_silence(*this); }
    int print() override { return 0; }
};

// Carries the linear solver's events to the poll point.  The linear solver clones it into every
// problem that is made of this one: presolved, in a heuristic, at a node.
class engine_events : public ClpEventHandler {
  public:
    explicit engine_events(engine_poll &poll) : poll(&poll) {}
    engine_events(const engine_events &) = default;
    ClpEventHandler *clone() const override { return new engine_events(*this); }
    int event(Event which) override;

  private:
    bool iteration();

    engine_poll *poll;
};

// Arrays as the engines want them: minimising, with their own infinity.
struct engine_arrays {
    explicit engine_arrays(const engine_model &model); // throws std::length_error when too large
    std::vector<int> begin;
    std::vector<double> col_lower, col_upper, row_lower, row_upper, objective;
};

// Loads the model and sets tolerances, seed, events and silence.
void engine_load(const engine_model &model, const engine_params &params, engine_poll &poll,
                 engine_silence &silence, ClpSimplex *clp);

// Starts it from the model's basis, which must be there.
void engine_start_basis(const engine_model &model, ClpSimplex *clp);

// Presolve does not poll, and to take a column out of a row it goes through all of the row.  Where
// rows or columns are so long that this would take seconds there is no presolve.
bool engine_has_presolve(const engine_model &model, const engine_params &params);

// Leaves out the steps, in the options of presolve, that put columns into rows as well, where these
// would take seconds.
template <class options> void engine_limit_presolve(const engine_model &model, options *presolve)
{
    bool quick = engine_length(model) < 1e9;
    presolve->setDoDoubleton(quick);
    presolve->setDoTripleton(quick);
    presolve->setDoImpliedFree(quick);
    presolve->setDoDupcol(quick);
    presolve->setDoDuprow(quick);
}

// Solves a continuous problem at a poll point that others use as well.
void engine_run_lp(const engine_model &model, const engine_params &params, engine_method method,
                   bool crossover, engine_poll &poll, engine_result *result);

// Runs `solve`, which fills the result.  When the engine aborts it is run once more with `again`
// set, which asks for safer settings; the poll point goes on counting, and the solutions found so
// far stay in the result.  After an error they are all that the result has.
int engine_attempts(const engine_model &model, engine_poll &poll, engine_result *result,
                    const std::function<void(bool again)> &solve);

// Runs `solve`, for which there are no safer settings.
int engine_last_attempt(engine_poll &poll, const std::function<void()> &solve);

} // namespace vnt
