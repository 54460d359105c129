// pausegate.h: holds the solver once an asynchronous call has reached its limits.
//
// The solver's pause callback passes the gate until the progress limit or the time limit is
// reached. Then it waits until a control request continues or ends the call.
//
// Ownership: a part of the handler.
//
// Threads: asyncchecklimit runs on the solver's threads, one of them at a time in the gate (pause
// lock); everything else on the thread that serves requests or that runs the call.  The state lock
// guards the record; `limit` and the time limit's flag are also read without it.  Lock order: pause
// lock, state lock, then the progress record's.

#pragma once

#include "remote/handler/timelimit.h"
#include "vanto.h"

#include <pthread.h>

namespace vnt {

struct handler;

// The state of an asynchronous call, with the numbers that a test request answers.
enum async_state : int32_t {
    ASYNC_STATE_IDLE = 0,
    ASYNC_STATE_RUNNING = 1,
    ASYNC_STATE_PAUSED = 2,    // inside the pause callback
    ASYNC_STATE_CONTINUE = 3,  // asked to go on
    ASYNC_STATE_TERMINATE = 4, // asked to end
};

struct pause_gate {
    pthread_mutex_t pause_lock;
    pthread_mutex_t state_lock;
    pthread_cond_t changed; // the state, for the thread that is held
    async_state state;
    bool fetched;                // the result has been requested: no CONTINUE can follow
    std::atomic<uint64_t> limit; // of the solver's progress count; 0 for no limit
    time_limit time;
    bool installed; // the callback; used by the call's thread alone
};

// Errors: NOMEMORY, LOCK.
int pausegate_create(pause_gate *g);
void pausegate_destroy(pause_gate *g);

// Starts the time limit of a call that begins; stops it at the call's end.  Returns 0, or
// VNTERR_REMOTE when the timer cannot be set.
int pausegate_arm(pause_gate *g);
void pausegate_disarm(pause_gate *g);

// Note that the call runs, and that its solver has returned.
void pausegate_run(pause_gate *g);
void pausegate_idle(pause_gate *g);

// The state for a test request: a call that was asked to continue or to end still runs.
async_state pausegate_shown(pause_gate *g);

// Sets limits that count from the next start or continuation.  To lift the time limit has an effect
// at once.
void pausegate_limits_set(pause_gate *g, int64_t progress, double seconds);

// Continues the call with limits that count from now on.  Returns what pausegate_arm does.
int pausegate_continue(pause_gate *g, int64_t progress, double seconds);

// Ends the call if it is held, else the next time that it reaches the gate.
void pausegate_terminate(pause_gate *g);

// Notes that the result has been requested: instead of holding the call the gate ends it.
void pausegate_fetch(pause_gate *g);

// Has the solver call asyncchecklimit; `h` is the handler that the gate belongs to.
void pausegate_install(handler *h, VNTENVptr env);
void pausegate_remove(handler *h, VNTENVptr env);

// The solver's pause callback; `data` is the handler.  Holds the solver once a limit is reached,
// until a request says to continue (0) or to terminate (13).
int asyncchecklimit(VNTENVptr env, void *cbdata, uint64_t progress, void *data);

} // namespace vnt
