// async.h: the process-wide record of the asynchronous call; serves requests while the solver
// works.
//
// In listener mode the transport calls asynccallback on a thread of its own whenever input
// arrives.  In polling mode only the solver's thread can read: its terminate function
// (asyncpollfunc) and its pause callback (asyncchecklimit) serve requests from inside the call. The
// transport's mustpoll operation chooses between the two.
//
// Modes: 0 -> async_start -> 1 (polling) or 3 (listener); async_stop makes 2 of 1 and 4 of 3;
// async_block returns to 0.
//
// Threads: the mode and the generation change under the record's lock.  asynccallbackmutex keeps
// callbacks one at a time; asynccall_begin holds it until the ACK has left, so that no request is
// served before.  The main thread receives messages in mode 0 only.
//
// Errors: misuse and a broken connection are fatal: a level-1 log line, then abort().

#pragma once

#include "remote/handler/handler.h"

namespace vnt {

enum async_mode : int32_t {
    ASYNC_MODE_NONE = 0,
    ASYNC_MODE_POLLING = 1,
    ASYNC_MODE_POLLING_STOPPED = 2,
    ASYNC_MODE_LISTENER = 3,
    ASYNC_MODE_LISTENER_STOPPED = 4,
};

struct async_record {
    handler *h;   // serves the requests
    int32_t mode; // async_mode
    int32_t generation;
    pthread_mutex_t lock; // guards mode and generation
    pthread_cond_t condition;
    int64_t result;
};

extern async_record globalasync;
extern pthread_mutex_t asynccallbackmutex;

// Initialises asynccallbackmutex and points the record at the worker's handler, which stays the
// caller's.  To be called before the first request; the error number when the mutex cannot be
// initialised.
int async_setup(handler *h);

// Destroys the mutex.  No call may be under way.
void async_teardown(void);

// Whether an asynchronous call is under way.
int async_isasync(void);

// Starts asynchronous input.
void async_start(transport *t);

// Serves requests until the result has been asked for.  Returns 0 in listener mode, 1 in polling.
int async_block(transport *t);

// In polling mode, serves at most one pending request.  Returns how many it served.
int async_poll(transport *t);

// Ends the call, on behalf of the request that fetches the result.  Returns 0 in listener mode, 1
// in polling.
int async_stop(void);

// The caller has left: stops serving until four bytes from the server arrive at `control_fd`,
// because a caller is back or because the server stops, after which the next receive fails.  A
// running call goes on.  Returns when the bytes have arrived; in polling mode, on the solver's own
// thread, at once.
void async_away(int control_fd);

// Hand one value from the call to the code that fetches the result; taking it clears it.  No run
// function uses this today.
void async_setresult(int64_t value);
int64_t async_getresult(void);

// The transport's callback; `record` is globalasync.
void asynccallback(transport *t, void *record);

} // namespace vnt
