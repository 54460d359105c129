/* A solver that knows one problem only and lacks most functions.  PARTIAL_SOLVER says how its solve
 * fails: "crash", "hang" or "wrong". */
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "vanto.h"

static int object;

static int fails(const char *how)
{
    const char *asked = getenv("PARTIAL_SOLVER");
    return asked != NULL && strcmp(asked, how) == 0;
}

VNTENVptr VNTLopenVANTO(int *status_p)
{
    *status_p = 0;
    return (VNTENVptr)&object;
}

int VNTLcloseVANTO(VNTENVptr *env)
{
    *env = NULL;
    return 0;
}

VNTLPptr VNTLcreateprob(VNTENVptr env, int *status_p, const char *probname_str)
{
    (void)env, (void)probname_str;
    *status_p = 0;
    return (VNTLPptr)&object;
}

int VNTLfreeprob(VNTENVptr env, VNTLPptr *lp)
{
    (void)env;
    *lp = NULL;
    return 0;
}

int VNTLcopylp(VNTENVptr env, VNTLPptr lp, int numcols, int numrows, int objsense,
               const double *objective, const double *rhs, const char *sense, const int64_t *matbeg,
               const int *matcnt, const int *matind, const double *matval, const double *lb,
               const double *ub, const double *rngval)
{
    (void)env, (void)lp, (void)numcols, (void)numrows, (void)objsense, (void)objective, (void)rhs;
    (void)sense, (void)matbeg, (void)matcnt, (void)matind, (void)matval, (void)lb, (void)ub;
    (void)rngval;
    return 0;
}

int VNTLlpopt(VNTENVptr env, VNTLPptr lp)
{
    (void)env, (void)lp;
    if (fails("crash")) raise(SIGSEGV);
    while (fails("hang"))
        pause();
    return 0;
}

int VNTLgetobjval(VNTENVptr env, VNTLPptr lp, double *objval_p)
{
    (void)env, (void)lp;
    *objval_p = fails("wrong") ? 1 : 35.0 / 3;
    return 0;
}

int VNTLgetx(VNTENVptr env, VNTLPptr lp, double *x, int begin, int end)
{
    static const double best[] = {3, 4.0 / 3};
    (void)env, (void)lp;
    for (int j = begin; j <= end; j++)
        x[j - begin] = best[j];
    return 0;
}
