// callrecords.h: the records of a call that call.cc and askfirst.cc share: the request being made,
// and where the answer goes.
//
// Threads: one at a time uses an environment and its calls.

#pragma once

#include "client/files.h"
#include "client/handles.h"
#include "remote/calls/callsize.h"
#include "remote/calls/solvercall.h"

#include <climits>
#include <cstddef>

namespace vnt {

// What is needed to store the answer.  It has no pointers into the request or to the caller's path:
// both are gone when a started call is joined.
struct call_return {
    const solver_call *call;
    call_value args[SOLVERCALL_MAXARGS];
    int64_t space[SOLVERCALL_MAXARGS]; // elements that fit at a pointer, INT64_MAX for all
    call_value result;
    bool large;          // some output may be large
    char path[PATH_MAX]; // of the file that the call writes
};

// A request being made.  It frees what it holds, but nothing of the caller's.
struct call_request {
    const solver_call *call;
    const call_value *args;
    client_env *env;
    uint64_t lp; // the worker's values
    uint64_t net;
    size_answers sizes;
    char handles[SOLVERCALL_MAXARGS][16];
    client_infile file;
    alignas(max_align_t) char record[SOLVERCALL_MAXRECORD];

    call_request(const solver_call *c, const call_value *a);
    ~call_request();
    call_request(const call_request &) = delete;
    call_request &operator=(const call_request &) = delete;
};

// Copies the response to the caller's memory.  `memory` is the call_return.  Returns the call's
// status.
int finish_call(client_env *e, const void *response, void *memory);

} // namespace vnt
