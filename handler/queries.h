// queries.h: what a run function asks the solver before its call, to size the outputs.
//
// A row's sizes name queries.  Each is asked once, whoever needs it, and also when it only bounds
// an index: solvers are used to being asked.  The number of columns alone is asked only where an
// output depends on it.
//
// Threads: the one that carries out the request.

#pragma once

#include "handler/solvercall.h"

struct size_queries {
    VNTENVptr env; // the objects to ask about
    VNTLPptr lp;
    VNTNETptr net;
    uint32_t asked; // a bit for each call_query with an answer
    int64_t answers[QUERY_COUNT];
    int32_t width;       // code of the solver's terminator, where the row has text outputs
    const char *missing; // a function that was needed and that the solver lacks
};

// Asks all that the row needs.  Around what looks at networks, presolved problems and conflicts
// VNT_PARAM_MESSAGES is read and written back.  Check `missing` afterwards.
void queries_ask(size_queries *q, const solver_call *call);

// Whether the size follows from the request and from what was asked.
bool size_known(const call_size &size, const size_queries *q);

// The size, 0 when negative, INT64_MAX when it is beyond counting.
int64_t size_of(const call_size &size, const void *request, const size_queries *q);
