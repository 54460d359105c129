#include "test/doubles/solver_double.h"
#include "remote/base/entry.h"

#include <chrono>
#include <climits>
#include <new>
#include <thread>

namespace vnt {

solver_double solver;

static int places[4];
const VNTENVptr double_env = reinterpret_cast<VNTENVptr>(&places[0]);
const VNTLPptr double_lp = reinterpret_cast<VNTLPptr>(&places[1]);
const VNTNETptr double_net = reinterpret_cast<VNTNETptr>(&places[2]);
static const VNTLPptr reduced_lp = reinterpret_cast<VNTLPptr>(&places[3]);

void solver_reset(void)
{
    solver.~solver_double();
    new (&solver) solver_double();
}

static void note(const char *name)
{
    solver.calls += std::string(" ") + name;
}

VNT_ENTRY VNTENVptr VNTLopenVANTO(int *status_p)
{
    *status_p = solver.open_status;
    return solver.open_status == 0 ? double_env : nullptr;
}

VNT_ENTRY int VNTLcloseVANTO(VNTENVptr *env)
{
    note(*env == double_env ? "close" : *env == nullptr ? "close-null" : "close-foreign");
    *env = nullptr;
    return 0;
}

VNT_ENTRY int VNTLgetchannels(VNTENVptr, VNTCHANNELptr *results_p, VNTCHANNELptr *warning_p,
                              VNTCHANNELptr *error_p, VNTCHANNELptr *log_p)
{
    VNTCHANNELptr *const out[] = {results_p, warning_p, error_p, log_p};
    for (int i = 0; i < 4; i++)
        *out[i] = reinterpret_cast<VNTCHANNELptr>(&places[i]);
    return 0;
}

VNT_ENTRY int VNTLaddfuncdest(VNTENVptr, VNTCHANNELptr channel, void *handle,
                              void (*msgfunc)(void *handle, const char *text))
{
    const auto i = reinterpret_cast<int *>(channel) - places;
    solver.channel_func[i] = msgfunc;
    solver.channel_handle[i] = handle;
    return 0;
}

VNT_ENTRY int VNTLEsetasyncterminate(VNTENVptr, volatile int *terminate_p)
{
    solver.terminate = terminate_p;
    return 0;
}

// Counts: each its own number, so that no selector can be mistaken for another.
#define COUNT(function, number)                                                                    \
    VNT_ENTRY int function(VNTENVptr, VNTLPptr lp)                                                 \
    {                                                                                              \
        return lp == reduced_lp ? 1000 + number : number;                                          \
    }
COUNT(VNTLgetnumrows, 10)
COUNT(VNTLgetnumobjs, 11)
COUNT(VNTLEgetnumprios, 12)
COUNT(VNTLgetnummipstarts, 16)
COUNT(VNTLgetsolnpoolnumfilters, 17)
COUNT(VNTLgetsolnpoolnumsolns, 18)
COUNT(VNTLgetnumpwl, 22)
COUNT(VNTLgetnumqconstrs, 23)
COUNT(VNTLgetnumindconstrs, 24)
COUNT(VNTLgetnumquad, 25)
COUNT(VNTLgetnumdblannotations, 30)
COUNT(VNTLgetnumlongannotations, 31)
// VNTLgetnumsos is what this solver lacks.

VNT_ENTRY int VNTLgetnumcols(VNTENVptr, VNTLPptr lp)
{
    return lp == reduced_lp ? 1013 : 2;
}

VNT_ENTRY int VNTLNETgetnumarcs(VNTENVptr, VNTNETptr net)
{
    return net == double_net ? 19 : 0;
}

VNT_ENTRY int VNTLNETgetnumnodes(VNTENVptr, VNTNETptr net)
{
    return net == double_net ? 20 : 0;
}

VNT_ENTRY int VNTLgetredlp(VNTENVptr, VNTLPptr, VNTLPptr *redlp_p)
{
    *redlp_p = reduced_lp;
    solver.int_params[VNT_PARAM_MESSAGES] = 0; // the handler is to put it back
    return 0;
}

VNT_ENTRY int VNTLgetconflict(VNTENVptr, VNTLPptr, int *confstat_p, int *, int *,
                              int *confnumrows_p, int *, int *, int *confnumcols_p)
{
    *confstat_p = 0;
    *confnumrows_p = 28;
    *confnumcols_p = 29;
    return 0;
}

VNT_ENTRY int VNTLEgetnulbytes(VNTENVptr, int *nulbytes_p)
{
    *nulbytes_p = 1;
    return 0;
}

VNT_ENTRY int VNTLEencodedstrparam(VNTENVptr, int paramnum, int *isencoded_p)
{
    *isencoded_p = paramnum;
    return 0;
}

VNT_ENTRY int VNTLversionnumber(VNTENVptr, int *version_p)
{
    *version_p = 32;
    return 0;
}

VNT_ENTRY int VNTLgetintparam(VNTENVptr, int whichparam, int *value_p)
{
    *value_p = solver.int_params[whichparam];
    return 0;
}

VNT_ENTRY int VNTLsetintparam(VNTENVptr, int whichparam, int newvalue)
{
    solver.int_params[whichparam] = newvalue;
    return 0;
}

VNT_ENTRY int VNTLgetobjsen(VNTENVptr, VNTLPptr)
{
    return solver.maximise ? VNT_MAX : VNT_MIN;
}

VNT_ENTRY int VNTEsetterminatefunc(VNTENVptr, int (*func)(VNTENVptr env, void *data), void *data)
{
    solver.terminate_func = func;
    solver.terminate_data = data;
    return 0;
}

VNT_ENTRY int VNTEsetpausecallbackfunc(
    VNTENVptr, int (*func)(VNTENVptr env, void *cbdata, uint64_t progress, void *data), void *data)
{
    solver.pause_func = func;
    solver.pause_data = data;
    return 0;
}

VNT_ENTRY int VNTEgetasyncmipprogress(VNTENVptr, void *, int sollen, vntmipprogress *progress,
                                      double refobj)
{
    solver.reference = refobj;
    *progress = {.nodes = 5,
                 .phase = 1,
                 .bound = -2,
                 .iterations = static_cast<int64_t>(solver.progress),
                 .incumbent = 7.5,
                 .gap = 0.5,
                 .solutions = 3,
                 .solcount = sollen,
                 .sol = progress->sol};
    for (int i = 0; i < sollen; i++)
        progress->sol[i] = i + 0.25;
    return 0;
}

VNT_ENTRY int VNTEasyncprogressinject(VNTENVptr, void *, double objval, double sense, double)
{
    solver.injected = objval * 10 + sense;
    return solver.inject_status;
}

// One step of a solve: both callbacks, as a solver would call them, and a short rest.
static bool step(VNTENVptr env)
{
    for (int i = 0; i < 100 && solver.terminate_func != nullptr; i++)
        solver.terminate_func(env, solver.terminate_data);
    if (__atomic_load_n(solver.terminate, __ATOMIC_SEQ_CST) != 0) return false;
    if (solver.pause_func != nullptr &&
        solver.pause_func(env, nullptr, ++solver.progress, solver.pause_data) != 0)
        return false;
    std::this_thread::sleep_for(std::chrono::microseconds(50));
    return true;
}

// Returns 0 after the last step, 13 when it was stopped before.
static int work(VNTENVptr env)
{
    while (solver.steps > 0) {
        if (!step(env)) return 13;
        if (solver.steps < INT_MAX) solver.steps--;
    }
    return 0;
}

VNT_ENTRY int VNTLmipopt(VNTENVptr env, VNTLPptr)
{
    if (!solver.helped) return work(env);
    int status = 0;
    std::thread([&] { status = work(env); }).join();
    return status;
}

} // namespace vnt
