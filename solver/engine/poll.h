// poll.h: the one poll point of a solve.
//
// Every hook that an engine offers calls tick(): simplex and barrier iterations, presolve stages,
// rounds of cuts, nodes, solutions.  tick() counts the work, reports progress to the caller and
// returns whether the solve must end.  Once it has returned true it always does: every later linear
// problem ends at its first iteration, which unwinds the search quickly.
//
// The count of work is deterministic; the clock is read only for the time limit and the log.  Time
// inside the caller's poll function does not count towards the time limit.
//
// Ownership: params, hooks and what they point to outlive the poll.
// Threads: the solving thread alone.

#pragma once

#include "solver/engine/engine.h"

#include <chrono>
#include <functional>
#include <limits>

namespace vnt {

class engine_poll {
  public:
    engine_poll(const engine_params &params, const engine_hooks &hooks, int sense);

    // One unit of work is done.  True: end the solve.
    bool tick();

    // Like tick() after an iteration of a linear problem, which `objective` and `infeasibility`
    // describe (in the engine's minimising sense).
    bool iteration(double objective, double infeasibility, bool phase1);
    bool barrier_iteration(double objective, double complementarity);

    // Ends the solve at a limit; the first reason stays.
    void end(int status);

    // After an abort of the engine: closes what its interrupted calls left open.
    void recover();

    // Ends the search to restart it with other rows, unless it ends for another reason.
    void end_round() { end(round_ended); }
    // Whether that was the reason; then the solve goes on.
    bool next_round();

    // The status that ended the solve, 0 while it goes on.
    int ended() const { return reason; }

    void log(int level, int channel, const char *format, ...) __attribute__((format(printf, 4, 5)));
    double seconds() const; // of work so far

    // While one lives, an end is delayed, for 300 ms at most, to complete something short, such as
    // copying an incumbent out of the search.
    class shelter {
      public:
        explicit shelter(engine_poll &poll) : poll(poll) { poll.sheltered++; }
        ~shelter() { poll.sheltered--; }
        shelter(const shelter &) = delete;
        shelter &operator=(const shelter &) = delete;

      private:
        engine_poll &poll;
    };

    std::function<void()> at_end; // called once, when the solve is ended

    engine_progress seen = {}; // the next report to the caller; the engine keeps it current
    // The best cutoff given so far, minimising; infinite without one and where none applies.
    double cutoff() const
    {
        return ignore_cutoff ? std::numeric_limits<double>::infinity() : given;
    }
    bool ignore_cutoff = false; // the current objective is not the caller's
    bool feasibility = false;   // nor are the values of the points found: they are not reported
    int64_t phase1_iterations = 0, barrier_iterations = 0;

  private:
    using clock = std::chrono::steady_clock;

    static constexpr int round_ended = -1;

    bool must_end(clock::time_point now);
    void ask(clock::time_point now);
    void write_line(clock::time_point now); // about once a second
    std::string interval_text() const;

    const engine_params &params;
    const engine_hooks &hooks;
    const int sense;
    const clock::time_point begin;
    clock::duration held{}; // inside the caller's poll function
    clock::time_point end_at;
    clock::time_point next_line;
    double given = std::numeric_limits<double>::infinity();
    int reason = 0;
    int sheltered = 0;
};

} // namespace vnt
