// solverpoll.h: reads requests from inside the solver, if the transport has no listener thread.
//
// The solver calls its terminate function often; every hundredth call looks for a request.
//
// Ownership: a part of the handler.
//
// Threads: asyncpollfunc runs on the solver's threads and acts only on the one that began the call;
// a thread that the pause gate holds calls solverpoll_serve, too.  The poll lock keeps
// polls one at a time and is never taken with the gate's state lock held.

#pragma once

#include "remote/transport/transport.h"
#include "vanto.h"

#include <atomic>
#include <pthread.h>

namespace vnt {

struct handler;

struct solver_poll {
    pthread_mutex_t lock;
    std::atomic<bool> active;          // `owner` must poll during the call that runs
    std::atomic<bool> single_threaded; // the solver uses one thread: no lock is needed
    std::atomic<pthread_t> owner;
    std::atomic<uint32_t> calls;
};

// Errors: LOCK.
int solverpoll_create(solver_poll *p);
void solverpoll_destroy(solver_poll *p);

// Has the solver call asyncpollfunc where the transport must be polled; the calling thread is the
// owner.
void solverpoll_install(handler *h, VNTENVptr env);
void solverpoll_remove(handler *h, VNTENVptr env);

// Whether another thread than the calling one polls for a call.
bool solverpoll_excludes(const solver_poll *p);

// Serves at most one pending request.  Returns how many it served.
int solverpoll_serve(solver_poll *p, transport *io);

// The solver's terminate function; `data` is the handler.  Returns 0: it never ends a solve.
int asyncpollfunc(VNTENVptr env, void *data);

} // namespace vnt
