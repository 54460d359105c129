// solverlib.h: the solver's library, chosen at run time.
//
// The library that solves in this process and the one that drives a worker export the same names,
// so a program can link only one of them.  To choose at run time, vntsolve opens the library by
// name and keeps the functions that it needs in a table, under their own names.
//
// Ownership: the library stays open until the process ends.
//
// Errors: throws failure with EXIT_INTERNAL when the library or one of the functions is missing.

#pragma once

#include "vanto_client.h"

namespace vnt {

// clang-format off
#define SOLVER_FUNCTIONS(F)                                                                        \
    F(VNTLopenVANTO) F(VNTLcloseVANTO) F(VNTLgetchannels) F(VNTLaddfuncdest)                       \
    F(VNTLEsetasyncterminate) F(VNTEsetpausecallbackfunc) F(VNTEgetasyncmipprogress)               \
    F(VNTLgetparamnum) F(VNTLgetparamname) F(VNTLgetparamtype)                                     \
    F(VNTLinfointparam) F(VNTLinfolongparam) F(VNTLinfodblparam) F(VNTLinfostrparam)               \
    F(VNTEreadcopyparam) F(VNTEreadcopybase) F(VNTEreadcopymipstarts) F(VNTLaddmipstarts)          \
    F(VNTLgetintparam)                                                                             \
    F(VNTLsetintparam) F(VNTLsetlongparam) F(VNTLsetdblparam) F(VNTLsetstrparam)                   \
    F(VNTLcreateprob) F(VNTLfreeprob) F(VNTEreadcopyprob)                                          \
    F(VNTLgetprobtype) F(VNTLlpopt) F(VNTLqpopt) F(VNTLmipopt)                                     \
    F(VNTLgetstat) F(VNTLgetobjval) F(VNTLgetbestobjval) F(VNTLgetx) F(VNTLgetcolname)             \
    F(VNTLgetnumrows) F(VNTLgetnumcols) F(VNTLgetnumnz)                                            \
    F(VNTLgetnumint) F(VNTLgetnumbin) F(VNTLgetnumsemiint)                                         \
    F(VNTLgetitcnt) F(VNTLgetbaritcnt) F(VNTLgetmipitcnt) F(VNTLgetnodecnt)                        \
    F(VNTLmbasewrite) F(VNTLwriteprob)

// What only the library of remote calls has.
#define REMOTE_FUNCTIONS(F)                                                                        \
    F(vntclient_open) F(vntclient_connecttimeout) F(vntclient_errortext) F(vntclient_address)      \
    F(vntclient_start) F(vntclient_test) F(vntclient_joinresilient)                                \
    F(vntclient_pack) F(vntclient_disconnect) F(vntclient_attachresilient) F(vntclient_getproblems)
// clang-format on

#define DECLARE(function) decltype(&::function) function = nullptr;
struct solver_library {
    SOLVER_FUNCTIONS(DECLARE)
    REMOTE_FUNCTIONS(DECLARE) // null in the library of this process
};
#undef DECLARE

// Opens libvanto.so, or libvantoclient.so for remote calls.
solver_library solverlib_open(bool remote);

} // namespace vnt
