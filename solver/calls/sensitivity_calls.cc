// Sensitivity: between what values a coefficient may move while the basis stays optimal.

#include "solver/calls/calls.h"
#include "solver/problem/tableau.h"

using namespace vnt;

// The caller's arrays for the ends of ranges; either may be null.
struct range_output {
    double *low, *high;

    void take(int k, value_range r) const
    {
        if (low != nullptr) low[k] = r.low;
        if (high != nullptr) high[k] = r.high;
    }
};

// Asks the optimal tableau for each of the elements begin to end.
template <class limit_of, class body> static int ask(VNTENVptr env, VNTLPptr lp, int begin, int end,
                                                     const limit_of &limit, const body &each,
                                                     const char *call = __builtin_FUNCTION())
{
    return with_problem(
        env, lp,
        [&](vntlp &p) {
            const tableau &t = optimal_tableau(p);
            int count = range_count(begin, end, (t.*limit)());
            for (int k = 0; k < count; k++)
                each(t, k);
        },
        call);
}

int VNTLobjsa(VNTENVptr env, VNTLPptr lp, double *lower, double *upper, int begin, int end)
{
    range_output out = {lower, upper};
    return ask(env, lp, begin, end, &tableau::numcols,
               [&](const tableau &t, int k) { out.take(k, t.cost_range(begin + k)); });
}

int VNTLrhssa(VNTENVptr env, VNTLPptr lp, double *lower, double *upper, int begin, int end)
{
    range_output out = {lower, upper};
    return ask(env, lp, begin, end, &tableau::numrows,
               [&](const tableau &t, int k) { out.take(k, t.rhs_range(begin + k)); });
}

int VNTLboundsa(VNTENVptr env, VNTLPptr lp, double *lblower, double *lbupper, double *ublower,
                double *ubupper, int begin, int end)
{
    range_output low = {lblower, lbupper}, high = {ublower, ubupper};
    return ask(env, lp, begin, end, &tableau::numcols, [&](const tableau &t, int k) {
        low.take(k, t.lower_range(begin + k));
        high.take(k, t.upper_range(begin + k));
    });
}

int VNTLErangesa(VNTENVptr env, VNTLPptr lp, double *lblower, double *lbupper, double *ublower,
                 double *ubupper, int begin, int end)
{
    range_output low = {lblower, lbupper}, high = {ublower, ubupper};
    return ask(env, lp, begin, end, &tableau::numrows, [&](const tableau &t, int k) {
        low.take(k, t.row_lower_range(begin + k));
        high.take(k, t.row_upper_range(begin + k));
    });
}
