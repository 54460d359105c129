// queries.h: what a run function asks the solver before its call, to size the outputs.
//
// A row's sizes name queries.  Each is asked once for all arguments, and also when it only bounds
// an index: solvers are used to being asked.  The number of columns alone is asked only where an
// output depends on it.
//
// Threads: the one that carries out the request.

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

// Asks all that the row needs.  Around what looks at networks, presolved problems and conflicts
// VNT_PARAM_MESSAGES is read and written back.  Check `missing` afterwards.
void queries_ask(size_queries *q, const solver_call *call);

} // namespace vnt
