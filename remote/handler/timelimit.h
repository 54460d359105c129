// timelimit.h: the wall-clock limit of an asynchronous call.
//
// A one-shot timer per handler whose only act is to set a flag; the pause callback reads the flag
// and holds the solver, as it does at the progress limit.
//
// Threads: settilimexpired runs on a thread of the timer's; all else under the handler's state
// lock.

#pragma once

#include "remote/handler/handler.h"

#include <csignal>

namespace vnt {

// The timer's notification; the value is the flag.
void settilimexpired(sigval flag);

// Creates the timer and its flag.  The flag is never freed: a notification may be under way when
// the timer is deleted.
// Errors: NOMEMORY, LOCK.
int wallclock_tilim_create(handler *h);
void wallclock_tilim_destroy(handler *h);

// Whether `seconds` limits anything: neither HANDLER_INFINITE or more nor NaN.
bool wallclock_tilim_limits(double seconds);

// Starts the timer, or sets the flag at once where nothing is left.  Returns 0, or VNTERR_REMOTE
// when the timer cannot be set.
int wallclock_tilim_arm(handler *h, double seconds);

// Stops the timer; the flag stays as it is.
void wallclock_tilim_disarm(handler *h);

// Takes `seconds` for the handler's limit and acts on it: arms the timer, or stops it and clears
// the flag.  Returns what arming returns.
int wallclock_tilim_apply(handler *h, double seconds);

// A relative one-shot expiry.
itimerspec wallclock_tilim_expiry(double seconds);

} // namespace vnt
