// async.pml: the asynchronous call as a model for spin: the record, the handler's state and the
// locks, as async.cc, asynccall.cc and asynccontrol.cc use them.  test/spin/check runs it in
// both modes.
//
// Checked: no deadlock, which a lost wake-up would be, since the client waits for what it has
// asked for; the ACK comes before every other answer; one thread receives at a time, the main
// thread in mode 0 alone; callbacks find the listener's mode.
//
// A client may fetch the result of a call that could still pause: nobody reads then, so that the
// call ends instead.

#ifndef POLLING
#define POLLING 0
#endif
#define ROUNDS 2

mtype = { START, TEST, CONTINUE, TERMINATE, KILL, FETCH };
mtype = { ACK, NAK, ANSWER, RESULT };

#define IDLE 0
#define RUNNING 1
#define PAUSED 2
#define CONTINUED 3
#define TERMINATED 4

#define NONE 0
#define STARTED 1
#define STOPPED 2

chan requests = [2] of { mtype };
chan responses = [4] of { mtype };

byte mode = NONE;      // the record's; both kinds of "started" and "stopped" are one here
byte generation = 0;
byte state = IDLE;     // the handler's
bool armed = false;    // the transport's: one notification
bool kill = false;     // the terminate cell
bool maypause = false; // the caller has set a limit
bool pending = false;  // the result has not been asked for
byte receiving = 0;

bool callbacks = false, record = false, statelock = false, pauselock = false, progress = false;
inline lock(mutex) { atomic { !mutex -> mutex = true } }
inline unlock(mutex) { assert(mutex); mutex = false }

// A signal that nobody waits for is lost.
bool recordwaits = false, statewaits = false;
inline wait(waits, mutex) { atomic { waits = true; mutex = false }; !waits; lock(mutex) }
inline signal(waits) { waits = false }

// Serving one request, on whatever thread.

inline receive(m)
{
    atomic { receiving++; assert(receiving == 1) };
    requests?m;
    receiving--
}

inline tell(word)
{
    lock(statelock);
    if
    :: state == IDLE || (state == TERMINATED && word == CONTINUED) -> skip
    :: else -> state = word; signal(statewaits)
    fi;
    unlock(statelock)
}

inline stop()
{
    lock(record);
    assert(mode == STARTED);
    mode = STOPPED;
    generation = 1 - generation;
    signal(recordwaits);
    unlock(record)
}

inline serve(m)
{
    receive(m);
    if
    :: m == START -> responses!NAK
    :: m == TEST -> lock(statelock); unlock(statelock); responses!ANSWER
    :: m == CONTINUE -> tell(CONTINUED); responses!ANSWER
    :: m == TERMINATE -> tell(TERMINATED); responses!ANSWER
    :: m == KILL -> tell(TERMINATED); kill = true; responses!ANSWER
    :: m == FETCH ->
        pending = false;
        lock(statelock);
        if
        :: state == PAUSED -> state = TERMINATED; signal(statewaits)
        :: else -> skip
        fi;
        unlock(statelock);
        stop()
    fi
}

inline poll(m)
{
    if
    :: armed && nempty(requests) ->
        armed = false;
        serve(m);
        if
        :: mode == STARTED -> armed = true
        :: else -> skip
        fi
    :: !armed || empty(requests) -> skip
    fi
}

proctype Listener()
{
    mtype m;
    byte seen;
end:
    do
    :: atomic { armed && nempty(requests) -> armed = false };
        lock(callbacks);
        assert(mode == STARTED);
        seen = generation;
        serve(m);
        lock(record);
        if
        :: mode == STARTED && generation == seen -> armed = true
        :: else -> skip
        fi;
        unlock(record);
        unlock(callbacks)
    od
}

// The main thread, which is the solver's as well.

inline pause_solver(m, stopped)
{
    lock(pauselock);
    lock(statelock);
    if
    :: state == TERMINATED || !pending -> stopped = true
    :: state != TERMINATED && pending ->
        lock(progress);
        unlock(progress);
        state = PAUSED;
        do
        :: state == PAUSED ->
            if
            :: POLLING -> unlock(statelock); armed && nempty(requests); poll(m); lock(statelock)
            :: else -> wait(statewaits, statelock)
            fi
        :: else -> break
        od;
        if
        :: state == TERMINATED -> stopped = true
        :: state == CONTINUED -> state = RUNNING
        :: else -> skip
        fi
    fi;
    unlock(statelock);
    unlock(pauselock)
}

inline solve(m)
{
    bool stopped = false;
    do
    :: kill || stopped -> break
    :: !kill && !stopped && POLLING -> poll(m)
    :: !kill && !stopped && maypause -> pause_solver(m, stopped)
    :: !kill && !stopped -> break // it is done
    od
}

inline begin()
{
    lock(callbacks);
    kill = false;
    assert(mode == NONE && !armed);
    armed = true;
    lock(record);
    mode = STARTED;
    unlock(record);
    pending = true;
    lock(statelock);
    state = RUNNING;
    unlock(statelock);
    responses!ACK;
    unlock(callbacks)
}

inline end_call(m)
{
    lock(statelock);
    state = IDLE;
    unlock(statelock);
    if
    :: POLLING ->
        do
        :: mode == STARTED -> armed && nempty(requests); poll(m)
        :: else -> break
        od;
        mode = NONE
    :: else ->
        lock(record);
        do
        :: mode != STOPPED -> wait(recordwaits, record)
        :: else -> break
        od;
        mode = NONE;
        unlock(record)
    fi;
    kill = false
}

active proctype Main()
{
    mtype m;
    if
    :: POLLING -> skip
    :: else -> run Listener()
    fi;
end:
    do
    :: nempty(requests) ->
        assert(mode == NONE && !armed);
        receive(m);
        if
        :: m == START -> begin(); solve(m); end_call(m); responses!RESULT
        :: else -> responses!ANSWER // steering nothing
        fi
    od
}

// A client in whatever mood.  It may send before it has heard.

inline steer(word)
{
    requests!word;
    responses?ANSWER
}

active proctype Client()
{
    byte round = 0;
    do
    :: round == ROUNDS -> break
    :: else ->
        maypause = false;
        if
        :: maypause = true
        :: skip
        fi;
        requests!START;
        if
        :: requests!TEST; responses?ACK; responses?ANSWER
        :: requests!START; responses?ACK; responses?NAK
        :: responses?ACK
        fi;
        do
        :: steer(TEST)
        :: steer(CONTINUE)
        :: steer(KILL); break
        :: steer(TERMINATE); break
        :: break
        od;
        requests!FETCH;
        responses?RESULT;
        round++
    od
}
