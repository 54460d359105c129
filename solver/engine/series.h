// series.h: several solves that answer one question, under one time limit and one stop.
//
// The caller's poll function sees the work of all of them as one; solutions of the single solves
// are not the caller's, so it gets none and cannot inject any.
//
// Ownership: params and hooks outlive the series.

#pragma once

#include "solver/engine/engine.h"

#include <chrono>

namespace vnt {

class engine_series {
  public:
    engine_series(const engine_params &params, const engine_hooks &hooks);
    engine_series(const engine_series &) = delete;

    // The next solve, discrete where the model has types, with what is left of the time limit.
    // `nodes` limits the search further.
    int solve(const engine_model &model, int64_t nodes, engine_result *result);

    // The status that ended the series, a stop or the time limit; 0 while it goes on.
    int ended() const;
    uint64_t ticks() const { return done; }

    engine_params params; // of each solve; the time limit is that of the series

  private:
    using clock = std::chrono::steady_clock;

    static void poll(void *arg, const engine_progress *progress, engine_reply *reply);
    static void log(void *arg, int channel, const char *text);
    double left() const; // seconds

    const engine_hooks &outer;
    const clock::time_point begin = clock::now();
    clock::duration held{}; // inside the caller's poll function
    uint64_t done = 0;
    bool stopped = false;
};

} // namespace vnt
