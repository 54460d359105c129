// solver.h: the solver's functions, bound late.
//
// The library must load with a solver that lacks some functions, so it imports none of them: each
// is looked up by name at its first use.  SOLVER(VNTLgetnumrows) is a pointer with the type of the
// prototype in vanto.h, null where the solver has no such function.
//
// Threads: any.

#pragma once

#include "vanto.h"

#include <atomic>

namespace vnt {

// A function's name and, once looked up, its address.
struct solver_import {
    const char *name;
    std::atomic<void *> address;
};

// The address, null where the solver lacks the function.
void *solver_find(solver_import *import);

#define SOLVER(function)                                                                           \
    ([] {                                                                                          \
        static solver_import import = {#function, nullptr};                                        \
        return reinterpret_cast<decltype(&function)>(solver_find(&import));                        \
    }())

} // namespace vnt
