// poll.h: the one poll point of a solve.
//
// Every hook that an engine offers calls tick(): simplex and barrier iterations, presolve stages,
// rounds of cuts, nodes, solutions.  tick() counts the work, tells the caller how the solve stands
// and answers whether it must end.  The answer stays once it is "end": every linear problem that is
// solved after it gives up at its first iteration, which unwinds the search quickly.
//
// The count of work is deterministic; the clock is read for the time limit and for the log alone.
// Time spent inside the caller's poll function is not held against the time limit: a solve that is
// paused for an hour has not worked for an hour.
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
    bool barrieriteration(double objective, double complementarity);

    // Ends the solve at a limit; the first reason stays.
    void end(int status);

    // After an abort of the engine: what its lost calls left open is closed.
    void recover();

    // Ends the search so that it begins anew with other rows, unless it ends for another reason.
    void endround() { end(round_ended); }
    // True when that was why it ended: it goes on.
    bool nextround();

    // The status that ended the solve, 0 while it goes on.
    int ended() const { return reason; }

    void log(int level, int channel, const char *format, ...) __attribute__((format(printf, 4, 5)));
    double seconds() const; // of work so far

    // While one lives, an end is put off so that something short can be completed: copying an
    // incumbent out of the search.  Not for ever: some 300 ms after the end it takes effect.
    class shelter {
      public:
        explicit shelter(engine_poll &poll) : poll(poll) { poll.sheltered++; }
        ~shelter() { poll.sheltered--; }
        shelter(const shelter &) = delete;
        shelter &operator=(const shelter &) = delete;

      private:
        engine_poll &poll;
    };

    std::function<void()> atend; // called once, when the solve is ended

    engine_progress seen = {}; // what the caller is told next; the engine keeps it current
    // The best cutoff given so far, minimising; infinite without one and where none applies.
    double cutoff() const { return ignorecutoff ? std::numeric_limits<double>::infinity() : given; }
    bool ignorecutoff = false; // the objective in hand is not the caller's
    int64_t phase1iterations = 0, barrieriterations = 0;

  private:
    using clock = std::chrono::steady_clock;

    static constexpr int round_ended = -1;

    bool mustend(clock::time_point now);
    void ask(clock::time_point now);
    void writeline(clock::time_point now); // about once a second

    const engine_params &params;
    const engine_hooks &hooks;
    const int sense;
    const clock::time_point begin;
    clock::duration held{}; // inside the caller's poll function
    clock::time_point end_at;
    clock::time_point nextline;
    double given = std::numeric_limits<double>::infinity();
    int reason = 0;
    int sheltered = 0;
};

} // namespace vnt
