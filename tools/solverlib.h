// solverlib.h: the solver's library, chosen at run time.
//
// The library that solves in this process and the one that drives a worker export the same names,
// so a program links one of them.  This one wants the choice: it opens the library by name and
// keeps the functions it needs in a table, under their own names.
//
// Ownership: the library stays open until the process ends.
//
// Errors: throws failure with EXIT_INTERNAL when the library or one of the functions is missing.

#pragma once

#include "vanto.h"

// clang-format off
#define SOLVER_FUNCTIONS(F)                                                                        \
    F(VNTLopenVANTO) F(VNTLcloseVANTO) F(VNTLgetchannels) F(VNTLaddfuncdest)                       \
    F(VNTLEsetasyncterminate)                                                                      \
    F(VNTLgetparamnum) F(VNTLgetparamtype)                                                         \
    F(VNTLsetintparam) F(VNTLsetlongparam) F(VNTLsetdblparam) F(VNTLsetstrparam)                   \
    F(VNTLcreateprob) F(VNTLfreeprob) F(VNTEreadcopyprob)                                          \
    F(VNTLgetprobtype) F(VNTLlpopt) F(VNTLqpopt) F(VNTLmipopt)                                     \
    F(VNTLgetstat) F(VNTLgetobjval) F(VNTLgetbestobjval) F(VNTLgetx) F(VNTLgetcolname)             \
    F(VNTLgetnumrows) F(VNTLgetnumcols) F(VNTLgetnumnz)                                            \
    F(VNTLgetnumint) F(VNTLgetnumbin) F(VNTLgetnumsemiint)                                         \
    F(VNTLgetitcnt) F(VNTLgetbaritcnt) F(VNTLgetmipitcnt) F(VNTLgetnodecnt)                        \
    F(VNTLsolwrite)
// clang-format on

struct solver_library {
#define DECLARE(function) decltype(&::function) function;
    SOLVER_FUNCTIONS(DECLARE)
#undef DECLARE
};

// `name` is a file name that the loader looks for, beside this program first.
solver_library solverlib_open(const char *name);
