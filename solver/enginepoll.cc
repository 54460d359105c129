#include "solver/enginepoll.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

static constexpr std::chrono::milliseconds shelter_time(300);
static constexpr double no_time_limit = 1e9; // seconds; some thirty years

engine_poll::engine_poll(const engine_params &params, const engine_hooks &hooks, int sense)
    : cutoff(std::numeric_limits<double>::infinity()), params(params), hooks(hooks), sense(sense),
      begin(clock::now()), nextline(begin + std::chrono::seconds(1))
{
    if (std::fabs(params.cutoff) < VNT_INFINITY) cutoff = sense * params.cutoff;
    seen.bound = seen.incumbent = sense * -VNT_INFINITY;
}

bool engine_poll::tick()
{
    seen.ticks++;
    clock::time_point now = clock::now();
    ask(now);
    return mustend(now);
}

bool engine_poll::iteration(double objective, double infeasibility)
{
    seen.iterations++;
    seen.objective = sense * objective;
    seen.infeasibility = infeasibility;
    if (infeasibility > 0) phase1iterations++;
    return tick();
}

bool engine_poll::barrieriteration()
{
    barrieriterations++;
    return tick();
}

void engine_poll::end(int status)
{
    if (reason != 0) return;
    reason = status;
    end_at = clock::now();
}

// After the end nothing more is asked: the caller has had its say, and the search unwinds.
void engine_poll::ask(clock::time_point now)
{
    if (hooks.poll == nullptr || reason != 0) return;
    engine_reply reply = {};
    hooks.poll(hooks.arg, &seen, &reply);
    held += clock::now() - now;
    if (reply.inject && !std::isnan(reply.cutoff)) cutoff = std::min(cutoff, sense * reply.cutoff);
    if (reply.stop) end(VNT_STAT_STOPPED);
}

bool engine_poll::mustend(clock::time_point now)
{
    if (std::max(seen.iterations, barrieriterations) >= params.iterationlimit)
        end(VNT_STAT_ITERATION_LIMIT);
    if (params.timelimit < no_time_limit && seconds() >= params.timelimit) end(VNT_STAT_TIME_LIMIT);
    if (reason == 0) return false;
    return sheltered == 0 || now - end_at > shelter_time;
}

double engine_poll::seconds() const
{
    return std::chrono::duration<double>(clock::now() - begin - held).count();
}

bool engine_poll::linedue()
{
    if (hooks.log == nullptr || params.loglevel < 2) return false;
    clock::time_point now = clock::now();
    if (now < nextline) return false;
    nextline = now + std::chrono::seconds(1);
    return true;
}

void engine_poll::log(int level, int channel, const char *format, ...)
{
    if (hooks.log == nullptr || params.loglevel < level) return;
    char text[256];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    hooks.log(hooks.arg, channel, text);
}
