// Solving.

#include "solver/calls/calls.h"
#include "solver/calls/solve.h"

using namespace vnt;

static int optimize(VNTENVptr env, VNTLPptr lp, engine_method method, const char *call)
{
    return with_environment(
        env, [&](vntenv &e) { solve_lp(e, problem_of(e, lp), method); }, call);
}

int VNTLlpopt(VNTENVptr env, VNTLPptr lp)
{
    return optimize(env, lp, ENGINE_DUAL, __func__);
}

int VNTLprimopt(VNTENVptr env, VNTLPptr lp)
{
    return optimize(env, lp, ENGINE_PRIMAL, __func__);
}

int VNTLdualopt(VNTENVptr env, VNTLPptr lp)
{
    return optimize(env, lp, ENGINE_DUAL, __func__);
}

int VNTLbaropt(VNTENVptr env, VNTLPptr lp)
{
    return optimize(env, lp, ENGINE_BARRIER, __func__);
}

// The engine crosses over by a method of its own choice.
int VNTLhybbaropt(VNTENVptr env, VNTLPptr lp, int method)
{
    if (method < 0 || method > 2) return VNTERR_BAD_ARGUMENT;
    return optimize(env, lp, ENGINE_BARRIER, __func__);
}

int VNTLmipopt(VNTENVptr env, VNTLPptr lp)
{
    return with_environment(env, [&](vntenv &e) { solve_mip(e, problem_of(e, lp)); });
}
