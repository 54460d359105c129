// solverfunctions.h: defines C functions with the solver's prototypes out of the list of solver
// calls.
//
// SOLVER_FUNCTION(carry_out, name, function, words...) takes what a row says and defines the
// function, which packs its arguments and hands them to
//
//   void carry_out(const solver_call *call, const call_value *args, call_value *result);
//
// The parameters' types come from the prototype; a row and a prototype that do not agree do not
// compile.
//
// Threads: a defined function may run wherever `carry_out` may.

#pragma once

#include "remote/base/entry.h"
#include "remote/calls/prototype.h"
#include "remote/calls/solvercall.h"

namespace vnt {

#define SOLVER_FUNCTION(carry_out, name, function, ...)                                            \
    VNT_ENTRY result_type<decltype(function)> function(                                            \
        PROTOTYPE_PARAMETERS(decltype(function), __VA_ARGS__))                                     \
    {                                                                                              \
        const call_value args[] = {PROTOTYPE_ARGUMENTS(__VA_ARGS__)};                              \
        call_value value;                                                                          \
        carry_out(&solvercalls[SOLVERCALL_##name], args, &value);                                  \
        return call_unpack<result_type<decltype(function)>>(value);                                \
    }

} // namespace vnt
