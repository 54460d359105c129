// queries.h: asks the solver about its objects: for PROBINFO, and for the sizes of a call's
// outputs.
//
// Threads: the thread that serves the request.

#pragma once

#include "remote/calls/callsize.h"

namespace vnt {

struct handler;

struct size_queries {
    VNTENVptr env; // the objects to ask about
    VNTLPptr lp;
    VNTNETptr net;
    size_answers sizes;
    int32_t width;       // code of the solver's terminator
    int32_t status;      // of a query that failed; its answer is 0
    const char *missing; // a function that was needed and that the solver lacks
};

// Replaces null objects by the handler's.
void queries_use_defaults(size_queries *q, const handler *h);

// Asks the queries of `sizes.asked`.  Those about networks, presolved problems and conflicts may
// change VNT_PARAM_MESSAGES, which is read before and written back.  Check `missing` afterwards.
void queries_ask(size_queries *q);

// Asks for the width of the terminator.
void queries_ask_width(size_queries *q);

} // namespace vnt
