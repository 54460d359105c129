// A stand-in for the solver that answers at no cost, so that only the way to it is measured.  The
// name of a problem is its number of columns.  To solve it takes as many milliseconds.

#include "vanto.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

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

int VNTLEgetnulbytes(VNTENVptr, int *nulbytes_p)
{
    *nulbytes_p = 1;
    return 0;
}

int VNTLnewcols(VNTENVptr, VNTLPptr, int, const double *, const double *, const double *,
                const char *, const char *const *)
{
    return 0;
}

int VNTLgetcolname(VNTENVptr, VNTLPptr, char **name, char *namestore, int64_t storespace,
                   int64_t *surplus_p, int begin, int end)
{
    static const char text[] = "column00";
    int64_t n = end - begin + 1;
    *surplus_p = storespace - n * int64_t(sizeof text);
    if (*surplus_p < 0) return 1207;
    for (int64_t i = 0; i < n; i++) {
        name[i] = namestore + i * int64_t(sizeof text);
        memcpy(name[i], text, sizeof text);
    }
    return 0;
}

int VNTLmipopt(VNTENVptr, VNTLPptr lp)
{
    timespec t = {lp->numcols / 1000, lp->numcols % 1000 * 1000000L};
    return nanosleep(&t, nullptr);
}

} // extern "C"
