#include "solver/engine/poll.h"

#include "solver/engine/guard.h"
#include "solver/model/failure.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace vnt {

static constexpr std::chrono::milliseconds shelter_time(300);
static constexpr double no_time_limit = 1e9; // seconds; some thirty years

engine_poll::engine_poll(const engine_params &params, const engine_hooks &hooks, int sense)
    : params(params), hooks(hooks), sense(sense), begin(clock::now()),
      next_line(begin + std::chrono::seconds(1))
{
    if (std::fabs(params.cutoff) < VNT_INFINITY) given = sense * params.cutoff;
    seen.bound = seen.incumbent = sense * -VNT_INFINITY;
}

bool engine_poll::tick()
{
    seen.ticks++;
    clock::time_point now = clock::now();
    ask(now);
    write_line(now);
    return must_end(now);
}

bool engine_poll::iteration(double objective, double infeasibility, bool phase1)
{
    seen.iterations++;
    seen.objective = sense * objective;
    seen.infeasibility = infeasibility;
    if (phase1) phase1_iterations++;
    return tick();
}

bool engine_poll::barrier_iteration(double objective, double complementarity)
{
    barrier_iterations++;
    seen.objective = sense * objective;
    seen.infeasibility = complementarity;
    return tick();
}

void engine_poll::end(int status)
{
    if (reason != 0) return;
    reason = status;
    end_at = clock::now();
    if (at_end) at_end();
}

bool engine_poll::next_round()
{
    if (reason != round_ended) return false;
    reason = 0;
    return true;
}

void engine_poll::recover()
{
    sheltered = 0;
    ignore_cutoff = feasibility = false;
    at_end = nullptr;
}

// After the end nothing more is asked: the caller has had its say, and the search unwinds.
void engine_poll::ask(clock::time_point now)
{
    if (hooks.poll == nullptr || reason != 0) return;
    engine_reply reply = {};
    {
        guard_pause callers;
        hooks.poll(hooks.arg, &seen, &reply);
    }
    held += clock::now() - now;
    if (reply.inject && !std::isnan(reply.cutoff)) given = std::min(given, sense * reply.cutoff);
    if (reply.stop) end(VNT_STAT_STOPPED);
}

bool engine_poll::must_end(clock::time_point now)
{
    if (std::max(seen.iterations, barrier_iterations) >= params.iteration_limit)
        end(VNT_STAT_ITERATION_LIMIT);
    if (params.time_limit < no_time_limit && seconds() >= params.time_limit)
        end(VNT_STAT_TIME_LIMIT);
    if (reason == 0) return false;
    return sheltered == 0 || now - end_at > shelter_time;
}

double engine_poll::seconds() const
{
    return std::chrono::duration<double>(clock::now() - begin - held).count();
}

// As many digits as twelve characters hold, ten at most.
static std::string short_number(double value)
{
    std::string text;
    for (int digits = 10; digits > 0 && (text.empty() || text.size() > 12); digits--)
        text = printed("%.*g", digits, value);
    return text;
}

// What is known of the objective; what is far from closed has no use for a figure.
std::string engine_poll::interval_text() const
{
    std::string text;
    if (seen.solution != nullptr) text += "  best " + short_number(seen.incumbent);
    if (std::fabs(seen.bound) < VNT_INFINITY) text += "  bound " + short_number(seen.bound);
    double scale = std::max(std::fabs(seen.incumbent), 1e-10);
    double gap = std::fabs(seen.incumbent - seen.bound) / scale;
    if (seen.solution != nullptr && gap < 10) text += printed("  gap %.2f %%", 100 * gap);
    return text;
}

// The line fits into 80 columns.  Programs read it: see tools/progress.h.
void engine_poll::write_line(clock::time_point now)
{
    if (now < next_line || reason != 0) return;
    next_line = now + std::chrono::seconds(1);
    const bool nodes = seen.search && seen.nodes > 0;
    const std::string more = seen.search
                                 ? interval_text()
                                 : "  objective " + short_number(seen.objective) +
                                       "  infeasibility " + short_number(seen.infeasibility);
    log(2, 3, "%7.1f s  %lld %s%s\n", seconds(),
        static_cast<long long>(nodes ? seen.nodes : seen.iterations),
        nodes ? "nodes" : "iterations", more.c_str());
}

void engine_poll::log(int level, int channel, const char *format, ...)
{
    if (hooks.log == nullptr || params.log_level < level) return;
    va_list args;
    va_start(args, format);
    const std::string text = printed_list(format, args);
    va_end(args);
    guard_pause callers;
    hooks.log(hooks.arg, channel, text.c_str());
}

} // namespace vnt
