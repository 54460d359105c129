// timelimit.h: the wall-clock limit of an asynchronous call.
//
// A one-shot timer sets a flag, and nothing else; the pause callback reads the flag and holds the
// solver, as it does at the progress limit.  The timer's thread may be late and set the flag after
// the limit has changed, so the flag counts only after the limit's own deadline.
//
// Ownership: a part of the pause gate.
//
// Threads: settilimexpired runs on a thread of the timer's, wallclock_tilim_expired on any;
// everything else is called under the gate's state lock.

#pragma once

#include <atomic>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace vnt {

struct time_limit {
    double seconds; // WIRE_INFINITE, more or NaN: no limit
    bool armed;
    timer_t timer;
    std::atomic<int64_t> deadline; // a time of base/clock.h
    std::atomic<bool> *expired;    // outlives the limit, because the timer's thread may
};

// The timer's notification; the value is the flag.
void settilimexpired(sigval flag);

// Creates the timer and its flag, without a limit.  The flag is never freed: a notification may be
// under way when the timer is deleted.
// Errors: NOMEMORY, LOCK.
int wallclock_tilim_create(time_limit *l);
void wallclock_tilim_destroy(time_limit *l);

// Whether the time is up.
bool wallclock_tilim_expired(const time_limit *l);

// Whether `seconds` limits anything.
bool wallclock_tilim_limits(double seconds);

// Starts the timer, or sets the flag at once if no time is left.  Returns 0, or VNTERR_REMOTE
// when the timer cannot be set.
int wallclock_tilim_arm(time_limit *l, double seconds);

// Stops the timer; the flag stays as it is.
void wallclock_tilim_disarm(time_limit *l);

// Acts on l->seconds from now on: arms the timer, or stops it and clears the flag.  Returns what
// arming returns.
int wallclock_tilim_apply(time_limit *l);

// A relative one-shot expiry.
itimerspec wallclock_tilim_expiry(double seconds);

} // namespace vnt
