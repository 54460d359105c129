#include "client/call.h"
#include "remote/calls/solverfunctions.h"

namespace vnt {

static void solver_function(const solver_call *call, const call_value *args, call_value *result)
{
    call_remote(call, args, result);
}

#define SOLVER_CALL(...) SOLVER_FUNCTION(__VA_ARGS__)
#include "remote/calls/solvercalls.def"

} // namespace vnt
