// mipprogress.h: the progress of the running solve, and an objective value to inject into it.
//
// The pause callback fills the record while it holds the solver; control requests read it.
//
// Ownership: a part of the handler; it owns the room for a solution.
//
// Threads: any.  The record's own lock guards it.  Only the solver's two progress functions are
// called under it.

#pragma once

#include "remote/calls/progress.h"

#include <pthread.h>

namespace vnt {

struct mip_progress {
    pthread_mutex_t lock;
    double sense; // -1.0 when maximising, else 1.0
    int32_t room; // values at record.sol
    vntmipprogress record;
    double injected; // an objective value for the solver, WIRE_INFINITE x sense for none
};

// Errors: LOCK.
int mipprogress_create(mip_progress *p);
void mipprogress_destroy(mip_progress *p);

// Starts anew for a call on `lp`, which may be null; frees the room for a solution.
void mipprogress_begin(mip_progress *p, VNTENVptr env, VNTLPptr lp);
void mipprogress_end(mip_progress *p);

// Asks the solver for its progress, from inside its pause callback.  Returns the solver's status.
int mipprogress_take(mip_progress *p, VNTENVptr env, void *cbdata);

// Keeps a value for the solver; gives the solver the value that is kept, from inside its pause
// callback.  One that the solver refuses is kept.
void mipprogress_offer(mip_progress *p, double objval);
void mipprogress_inject(mip_progress *p, VNTENVptr env, void *cbdata);

// Packs the record for a response; the serializer is the caller's to release.
// Errors: VNTERR_NO_MEMORY.
int mipprogress_pack(mip_progress *p, serializer *s);

} // namespace vnt
