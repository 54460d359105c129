#include "client/call.h"
#include "remote/calls/solverfunctions.h"

namespace vnt {

#define SOLVER_CALL(...) SOLVER_FUNCTION(call_remote, __VA_ARGS__)
#include "remote/calls/solvercalls.def"

} // namespace vnt
