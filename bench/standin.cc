// A stand-in for the solver that answers at no cost, so that only the way to it is measured.  The
// name of a problem is its number of columns.

#include "vanto.h"

#include <cstdlib>

struct vntenv {
    vntlp *open;
};
struct vntlp {
    int numcols;
};

extern "C" {

VNTENVptr VNTLopenVANTO(int *status_p)
{
    *status_p = 0;
    return new vntenv{};
}

int VNTLcloseVANTO(VNTENVptr *env)
{
    delete *env;
    *env = nullptr;
    return 0;
}

int VNTLgetchannels(VNTENVptr, VNTCHANNELptr *results_p, VNTCHANNELptr *warning_p,
                    VNTCHANNELptr *error_p, VNTCHANNELptr *log_p)
{
    *results_p = *warning_p = *error_p = *log_p = nullptr;
    return 0;
}

int VNTLaddfuncdest(VNTENVptr, VNTCHANNELptr, void *, void (*)(void *, const char *))
{
    return 0;
}

int VNTLEsetasyncterminate(VNTENVptr, volatile int *)
{
    return 0;
}

VNTLPptr VNTLcreateprob(VNTENVptr, int *status_p, const char *probname_str)
{
    *status_p = 0;
    return new vntlp{atoi(probname_str)};
}

int VNTLfreeprob(VNTENVptr, VNTLPptr *lp)
{
    delete *lp;
    *lp = nullptr;
    return 0;
}

int VNTLgetnumrows(VNTENVptr, VNTLPptr)
{
    return 1;
}

int VNTLgetnumcols(VNTENVptr, VNTLPptr lp)
{
    return lp->numcols;
}

int VNTLgetx(VNTENVptr, VNTLPptr, double *, int, int)
{
    return 0;
}

int VNTLcopylp(VNTENVptr, VNTLPptr lp, int numcols, int, int, const double *, const double *,
               const char *, const int64_t *, const int *, const int *, const double *,
               const double *, const double *, const double *)
{
    lp->numcols = numcols;
    return 0;
}

} // extern "C"
