// queries.h: asks the solver for the sizes of a call's outputs, before the call.
//
// The sizes in a call's row name queries.  Each is asked once for all arguments, also if it only
// bounds an index, as solvers expect.  Only the number of columns is asked just for outputs.
//
// Threads: the thread that serves the request.

#pragma once

#include "remote/calls/callsize.h"

namespace vnt {

struct size_queries {
    VNTENVptr env; // the objects to ask about
    VNTLPptr lp;
    VNTNETptr net;
    size_answers sizes;
    int32_t width;       // code of the solver's terminator, where the row has text outputs
    const char *missing; // a function that was needed and that the solver lacks
};

// Asks all that the row needs.  Queries about networks, presolved problems and conflicts may change
// VNT_PARAM_MESSAGES, which is read before and written back.  Check `missing` afterwards.
void queries_ask(size_queries *q, const solver_call *call);

} // namespace vnt
