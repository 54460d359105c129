// async.pml: the asynchronous call of remote/handler as a model for spin.  test/spin/check runs it
// in both modes, POLLING 0 (a listener thread serves) and 1 (-nothreads: the solver's hooks serve),
// and in two variants, as the whole would be too much: with a second thread of the solver, and
// TIMED with the wall-clock limit in its place.  Inlines are named after the functions that they
// stand for.
//
// One worker, one caller, two threads of the solver, any number of calls one after another.  The
// caller waits for each answer and otherwise acts in any order: starts calls, controls them with
// or without a call under way, solves synchronously before, between and during calls, disconnects
// and reconnects, vanishes.
//
// Checked:
//  - Nothing hangs.  A caller that waits gets its answer, a call pauses, continues and ends when
//    asked to, a call that would run for ever can be halted, and a worker whose caller has vanished
//    ends.  When no process can move, Watch checks that this is a state to rest in.
//  - The ACK comes before every other answer, and a start while a call runs is refused.
//  - One thread serves at a time, and no request is received while one is in service: receiving
//    frees the record of the last one.
//  - ASYNCTEST answers "ended" when the solver has returned and not before, and "paused" while it
//    waits in its pause callback and only then.
//  - The call's state changes as it should: no request wakes an idle call or overrides a
//    termination.  A kill ends only the solve that it was meant for.
//  - The time limit holds the solver after its deadline and never before.
//
// Left out: the info lock, the progress lock and the record's lock are leaves, nothing waits under
// them; what they guard changes in one step here.  The generation is left out: asynccall_begin
// takes the callback lock, so no callback of an earlier call is on its way then.

#ifndef POLLING
#define POLLING 0
#endif
#ifndef TIMED
#define TIMED 0
#endif

mtype = { START, SOLVE, TEST, LIMITS, CONTINUE, TERMINATE, KILL, FETCH, LEAVE, BACK, GONE };
mtype = { ACK, NAK, ANSWER, RESULT };

// The transport.  A request is an id and, for LIMITS and CONTINUE, a limit: none, a progress limit
// that the solver has passed already, or a wall-clock limit.  GONE is the end of the file.

#define NO_LIMIT 0
#define AT_ONCE 1
#define IN_TIME 2

chan requests = [2] of { mtype, byte };
chan responses = [4] of { mtype };
chan control = [1] of { bit }; // the pipe on which the server announces that a caller is back
bool armed = false;            // fdtransport_startasync: input will be announced, once

// globalasync (async.cc).  Both kinds of "started" and "stopped" are one here.

#define NONE 0
#define STARTED 1
#define STOPPED 2

byte mode = NONE;
bool blocked = false; // block_listener waits on the record's condition
bool away = false;    // away_fd: the caller has left, and the solver goes on (polling)

// The handler's parts: the pause gate and its time limit, the terminate flag, the solver's poll.

#define IDLE 0
#define RUNNING 1
#define PAUSED 2
#define CONTINUED 3
#define TERMINATED 4

byte state = IDLE;
bool state_waits = false; // a thread waits on the state's condition
bool fetched = false;    // the result has been asked for
bool terminate = false;  // the terminate flag, which makes the solver end
bool installed = false;  // the solver has our hooks: asyncpollfunc, asyncchecklimit
bool limit_passed = false;  // the progress limit is set, and passed
byte time_limit = NO_LIMIT;
bool expired = false;    // timeexpired: what the timer's notification sets
bool passed = false;     // the deadline of the time limit has passed

bool callbacks = false; // asynccallbackmutex
bool pause_lock = false, state_lock = false, poll_lock = false;

// The system's timer: whether it runs, and whether a notification is under way.
bool ticking = false;
bool flying = false;

// The threads, and which of them serves a request.

#define NOBODY 0
#define MAIN 1
#define SECOND 2
#define LISTENER 3
#define OTHER 4 // of a synchronous solve

byte server = NOBODY;
mtype m = 0;          // the request in service, the transport's
byte limit = NO_LIMIT;
bool working = false; // a synchronous solve is served while a call runs: hooks do nothing

// The solver.
bool solving = false; // both threads may call hooks
bool inside = false;  // the second one does
bool stop_all = false; // a hook has asked the solver to end

// For the checks alone.
bool endless = false; // the solver does not end by itself
bool acknowledged = true; // the ACK has left
bool calm = false;    // a synchronous solve began when no call ran
bool joining = false; // asynccall_end waits for the caller
bool halted = false;  // a thread of the solver waits in asyncchecklimit
bool unlimited = false; // a paused call was continued without a limit
bool due = false;     // the present time limit has run out
bool dead = false;    // abort(): the input has ended
bool done = false;    // the caller has finished

inline lock(mutex) { atomic { !mutex -> mutex = true } }
inline unlock(mutex) { atomic { assert(mutex); mutex = false } }

// pthread_cond_wait: a signal without a waiting thread is lost.
inline wait(waits, mutex) { atomic { waits = true; unlock(mutex) }; !waits; lock(mutex) }
inline signal(waits) { waits = false }

// A write of the state, under its lock.
inline become(word)
{
    atomic {
        assert(state_lock);
        assert(word != RUNNING || state == IDLE || state == CONTINUED);
        assert(word != PAUSED || state == RUNNING || state == CONTINUED);
        assert(word != PAUSED || !unlimited);
        assert(word != CONTINUED || state == RUNNING || state == PAUSED || state == CONTINUED);
        assert(word != TERMINATED || state != IDLE);
        state = word
    }
}

// wallclock_tilim_apply (timelimit.cc), under the state lock.
inline wallclock_tilim_apply(limit)
{
    ticking = false;
    expired = false;
    passed = false;
    atomic { due = false; ticking = (limit == IN_TIME) }
}

// The timer and its notification's thread, which may be late.
active proctype Timer()
{
end:
    do
    :: atomic { ticking -> ticking = false; passed = true; due = true; flying = true }
    :: atomic { flying -> flying = false; expired = true }
    od
}

// pausegate.cc: what the run functions of asynccontrol.cc do.

inline store_limits(limit)
{
    atomic { limit_passed = (limit == AT_ONCE); unlimited = (state == PAUSED && limit == NO_LIMIT) };
    time_limit = (limit == IN_TIME -> IN_TIME : NO_LIMIT)
}

// A new time limit counts from the next start or continuation; none counts at once.
inline pausegate_limits_set(limit)
{
    lock(state_lock);
    store_limits(limit);
    if
    :: time_limit == NO_LIMIT -> wallclock_tilim_apply(time_limit)
    :: else -> skip
    fi;
    unlock(state_lock)
}

inline pausegate_continue(limit)
{
    lock(state_lock);
    store_limits(limit);
    wallclock_tilim_apply(time_limit);
    if
    :: state != IDLE && state != TERMINATED -> become(CONTINUED); signal(state_waits)
    :: else -> skip
    fi;
    unlock(state_lock)
}

inline pausegate_terminate()
{
    atomic {
        lock(state_lock);
        if
        :: state != IDLE -> become(TERMINATED); signal(state_waits)
        :: else -> skip
        fi;
        unlock(state_lock)
    }
}

inline pausegate_shown()
{
    atomic {
        lock(state_lock);
        assert(state != IDLE || !solving);
        assert(state == IDLE || !joining);
        assert(state != PAUSED || halted);
        unlock(state_lock)
    }
}

inline free_request() { atomic { server = NOBODY; m = 0; limit = NO_LIMIT } }

// async_stop (async.cc).  It frees the message: a waiting thread may receive the next.
inline async_stop()
{
    atomic {
        assert(mode == STARTED);
        mode = STOPPED;
        free_request();
        signal(blocked)
    }
}

// From now on no CONTINUE can arrive, so a paused call must end.
inline pausegate_fetch()
{
    atomic {
        lock(state_lock);
        fetched = true;
        if
        :: state == PAUSED -> become(TERMINATED); signal(state_waits)
        :: else -> skip
        fi;
        unlock(state_lock)
    }
}

// vnthandler_disconnect and async_away: the answer, the report to the server, then the wait.
inline leave()
{
    assert(empty(control));
    responses!ANSWER;
    if
    :: POLLING && mode == STARTED -> away = true
    :: else -> control?_
    fi
}

// solvercall_run for a synchronous solve, and synccall: a kill that came while nothing ran
// does not end it.
inline solve_here(me)
{
    atomic {
        lock(state_lock);
        calm = (state == IDLE);
        if
        :: calm -> terminate = false
        :: else -> skip
        fi;
        unlock(state_lock)
    };
    if
    :: installed -> atomic { working = true; enter!me }; atomic { back?_ -> working = false }
    :: else -> skip
    fi;
    atomic { assert(!calm || !terminate); calm = false };
    responses!ANSWER
}

chan enter = [0] of { byte };
chan back = [0] of { bit };

// serve (async.cc) after the receipt, and serve (worker.cc) except for requests that start a call.
inline handle(me)
{
    if
    :: m == START -> responses!NAK // prepare (solvercall.cc): one runs already
    :: m == SOLVE -> solve_here(me)
    :: m == TEST -> pausegate_shown(); responses!ANSWER
    :: m == LIMITS -> pausegate_limits_set(limit); responses!ANSWER
    :: m == CONTINUE -> pausegate_continue(limit); responses!ANSWER
    :: m == TERMINATE -> pausegate_terminate(); responses!ANSWER
    :: m == KILL -> pausegate_terminate(); terminate = true; responses!ANSWER
    :: m == FETCH -> pausegate_fetch(); async_stop()
    :: m == LEAVE -> leave()
    :: m == BACK -> assert(empty(control) && !away); responses!ANSWER
    fi
}

// fdtransport_recvmsg: it frees the record of the last request.  A failure is fatal.
inline receive(me)
{
    atomic { assert(server == NOBODY && m == 0); server = me };
    requests?m, limit;
    if
    :: m == GONE -> dead = true; false
    :: else -> skip
    fi
}

inline serve(me)
{
    receive(me);
    assert(acknowledged);
    handle(me);
    if
    :: server == me && m != FETCH -> free_request()
    :: else -> skip
    fi
}

// Listener mode: asynccallback on the transport's thread.
proctype Listener()
{
end:
    do
    :: atomic { armed && nempty(requests) -> armed = false };
        lock(callbacks);
        assert(mode == STARTED);
        serve(LISTENER);
        atomic { // listen_again
            if
            :: mode == STARTED -> armed = true
            :: else -> skip
            fi
        };
        unlock(callbacks)
    od
}

// Polling mode: async_poll, and whether there is something to do for it.
#define POLLABLE ((away && nempty(control)) || (!away && armed && nempty(requests)))

inline async_poll(me)
{
    if
    :: away && nempty(control) -> control?_; away = false // is_away
    :: else -> skip
    fi;
    if
    :: !away && armed && nempty(requests) ->
        armed = false;
        serve(me);
        if
        :: mode == STARTED -> armed = true
        :: else -> skip
        fi
    :: else -> skip
    fi
}

// asyncpollfunc, which the solver calls now and then.  Only the thread that began the call polls.
#define POLLS(me) (me == MAIN && !working)

inline asyncpollfunc(me)
{
    if
    :: !POLLS(me) -> skip
    :: POLLS(me) -> lock(poll_lock); async_poll(me); unlock(poll_lock)
    fi
}

// asyncchecklimit, which the solver's threads call now and then.
#define MAY_PASS (!limit_passed && !(expired && passed))
#define HALTS(me) (!working && !MAY_PASS)

// With the state lock held, which is released while waiting.  The 5 ms of sleep are modelled by the
// condition under which the next round does something.
inline await_change(me)
{
    if
    :: POLLING ->
        unlock(state_lock);
        POLLABLE || state != PAUSED;
        lock(poll_lock);
        async_poll(me);
        unlock(poll_lock);
        lock(state_lock)
    :: else -> wait(state_waits, state_lock)
    fi
}

inline hold_solver(me, stopped)
{
    if
    :: state == IDLE -> skip
    :: state != IDLE && (state == TERMINATED || fetched) -> stopped = true
    :: state != IDLE && !(state == TERMINATED || fetched) ->
        atomic { become(PAUSED); halted = true };
        do
        :: state == PAUSED -> await_change(me)
        :: else -> break
        od;
        halted = false;
        if
        :: state == TERMINATED -> stopped = true
        :: state == CONTINUED -> become(RUNNING)
        fi
    fi
}

inline asyncchecklimit(me, stopped)
{
    if
    :: !HALTS(me) -> skip
    :: HALTS(me) ->
        lock(pause_lock);
        if
        :: MAY_PASS -> skip
        :: atomic { !MAY_PASS -> assert(limit_passed || due) };
            lock(state_lock);
            hold_solver(me, stopped);
            unlock(state_lock)
        fi;
        unlock(pause_lock)
    fi
}

// The solver's second thread.
proctype Second()
{
    bool stopped;
end:
    do
    :: atomic { solving && !stop_all && HALTS(SECOND) -> inside = true };
        asyncchecklimit(SECOND, stopped);
        atomic { stop_all = stop_all || stopped; stopped = false; inside = false }
    od
}

// A synchronous solve, whose hooks run on the serving thread or on another one of the solver's.  It
// is a process of its own because Promela has no recursion.
active proctype Inner()
{
    byte me;
    bool stopped;
end:
    do
    :: enter?me;
        if
        :: asyncchecklimit(me, stopped)
        :: asyncchecklimit(OTHER, stopped)
        :: POLLING -> asyncpollfunc(me)
        fi;
        atomic { stopped = false; me = NOBODY; back!0 }
    od
}

// The main thread: worker.cc's loop, solvercall_run for a call, and the solver's first thread.

inline solve()
{
    bool stopped = false;
    solving = true;
    do
    :: atomic { terminate -> assert(state == TERMINATED) }; break
    :: stop_all || stopped || !endless -> break
    :: POLLING && POLLABLE && POLLS(MAIN) -> asyncpollfunc(MAIN)
    :: HALTS(MAIN) -> asyncchecklimit(MAIN, stopped)
    od;
    stop_all = true;
    atomic { !inside -> solving = false; stop_all = false; stopped = false }
}

inline acknowledge()
{
    assert(mode == NONE && !armed);
    armed = true; // async_start
    mode = STARTED;
    atomic { lock(state_lock); fetched = false; become(RUNNING); unlock(state_lock) };
    atomic { responses!ACK; acknowledged = true }
}

inline asynccall_begin()
{
    lock(callbacks);
    atomic { due = false; acknowledged = false };
    lock(state_lock);
    wallclock_tilim_apply(time_limit);
    unlock(state_lock);
    terminate = false;
    installed = true;
    acknowledge();
    unlock(callbacks)
}

inline block_listener()
{
    do
    :: atomic { mode != STOPPED -> blocked = true }; !blocked
    :: atomic { else -> mode = NONE }; break
    od
}

inline block_polling()
{
    do
    :: mode == STARTED ->
        if
        :: away -> control?_; away = false // await_return: nothing is held up
        :: else -> skip
        fi;
        armed && nempty(requests);
        async_poll(MAIN)
    :: else -> break
    od;
    mode = NONE
}

inline asynccall_end()
{
    atomic { lock(state_lock); become(IDLE); unlock(state_lock) };
    joining = true;
    if
    :: POLLING -> block_polling()
    :: else -> block_listener()
    fi;
    joining = false;
    atomic { lock(state_lock); ticking = false; unlock(state_lock) }; // disarm_timelimit
    installed = false
}

active proctype Main()
{
    if
    :: POLLING -> skip
    :: else -> run Listener()
    fi;
    if
    :: TIMED -> skip
    :: else -> run Second()
    fi;
end:
    do
    :: nempty(requests) ->
        assert(mode == NONE && !armed);
        receive(MAIN);
        if
        :: m == START ->
            free_request(); // the request is copied, the thread is the solver's
            asynccall_begin();
            solve();
            asynccall_end();
            responses!RESULT
        :: else -> handle(MAIN); free_request()
        fi
    od
}

// The caller.

inline ask(id, limit)
{
    requests!id, limit;
    responses?ANSWER
}

inline set_limit(id)
{
    atomic {
        if
        :: told = NO_LIMIT
        :: !TIMED -> told = AT_ONCE
        :: TIMED && (id == CONTINUE || !running || told == IN_TIME) -> told = IN_TIME
        fi;
        requests!id, told
    };
    responses?ANSWER
}

// Whether a running call comes to its end or to a pause.
#define WILL_HALT (!endless || killed || told != NO_LIMIT)

active proctype Client()
{
    bool running = false; // a call was started and not fetched
    bool killed = false;
    byte told = NO_LIMIT; // the limit that counts
    do
    :: !running ->
        atomic {
            if
            :: endless = true
            :: skip
            fi;
            requests!START, 0
        };
        if
        :: responses?ACK
        :: requests!TEST, 0; responses?ACK; responses?ANSWER
        :: requests!START, 0; responses?ACK; responses?NAK
        fi;
        running = true
    :: ask(TEST, 0)
    :: !TIMED -> ask(SOLVE, 0)
    :: ask(TERMINATE, 0)
    :: atomic { killed = running; requests!KILL, 0 }; responses?ANSWER
    :: set_limit(LIMITS)
    :: set_limit(CONTINUE)
    :: !TIMED -> ask(LEAVE, 0);
        if
        :: running && WILL_HALT -> state == IDLE || state == PAUSED // a call goes on meanwhile
        :: skip
        fi;
        control!0;
        if
        :: ask(BACK, 0)
        :: break // it was the server's end
        fi
    // Asks until the call has ended or paused.
    :: running && WILL_HALT -> state == IDLE || state == PAUSED; ask(TEST, 0)
    :: running && (!endless || state == IDLE || state == PAUSED) ->
        requests!FETCH, 0;
        if
        :: atomic { responses?RESULT -> running = false; killed = false; endless = false }
        :: break
        fi
    :: break
    :: !running -> done = true; goto over
    od;
    requests!GONE, 0;
over:
    skip
}

// When no process can move.
active proctype Watch()
{
    timeout;
    assert(done || dead);
    assert(dead || (mode == NONE && state == IDLE && !armed && !ticking));
    assert(dead || (!callbacks && !pause_lock && !state_lock && !poll_lock))
}
