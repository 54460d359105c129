// solverfunctions.h: defines C functions with the solver's prototypes out of the list of solver
// calls.
//
// SOLVER_FUNCTION(name, function, words...) takes what a row says and defines the function: it
// packs its arguments and hands them to solver_function(), which the includer has declared:
//
//   void solver_function(const solver_call *call, const call_value *args, call_value *result);
//
// The parameters' types come from the prototype; a row and a prototype that do not agree do not
// compile.

#pragma once

#include "remote/base/entry.h"
#include "remote/calls/prototype.h"
#include "remote/calls/solvercall.h"

namespace vnt {

template <class... params> struct packed_arguments {
    call_value args[sizeof...(params)];
    explicit packed_arguments(params... values) : args{call_pack(values)...} {}
};

#define SOLVER_FUNCTION(name, function, ...)                                                       \
    VNT_ENTRY result_type<decltype(function)> function(                                            \
        PROTOTYPE_PARAMETERS(decltype(function), __VA_ARGS__))                                     \
    {                                                                                              \
        const packed_arguments packed(PROTOTYPE_ARGUMENTS(__VA_ARGS__));                           \
        call_value value;                                                                          \
        solver_function(&solvercalls[SOLVERCALL_##name], packed.args, &value);                     \
        return call_unpack<result_type<decltype(function)>>(value);                                \
    }

} // namespace vnt
