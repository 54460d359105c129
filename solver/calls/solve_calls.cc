// solve_calls.cc: the calls that solve a problem.

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

// Sifting has no engine of its own: the dual method finds the same answer.
int VNTLsiftopt(VNTENVptr env, VNTLPptr lp)
{
    return optimize(env, lp, ENGINE_DUAL, __func__);
}

static engine_method method_of(int number)
{
    switch (number) {
    case VNT_METHOD_PRIMAL: return ENGINE_PRIMAL;
    case VNT_METHOD_DUAL: return ENGINE_DUAL;
    case VNT_METHOD_BARRIER: return ENGINE_BARRIER;
    default: throw failure{VNTERR_BAD_ARGUMENT, "no method for continuous problems"};
    }
}

// A network inside of the problem gives no head start.
int VNTLhybnetopt(VNTENVptr env, VNTLPptr lp, int method)
{
    return with_environment(env, [&](vntenv &e) {
        vntlp &p = problem_of(e, lp);
        solve_lp(e, p, method_of(method));
    });
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
