// Opening and closing environments, their channels, and the control of a solve.

#include "solver/calls/calls.h"
#include "solver/engine/engine.h"

#include <chrono>
#include <cmath>
#include <ctime>
#include <thread>

using namespace vnt;

static constexpr int version_number = 100; // 10000 major + 100 minor + fix

VNTENVptr VNTLopenVANTO(int *status_p)
{
    try {
        vntenv *env = environment_open();
        put(status_p, 0);
        return env;
    } catch (...) {
        put(status_p, calls_failed(nullptr, __func__));
        return nullptr;
    }
}

int VNTLcloseVANTO(VNTENVptr *env)
{
    if (env == nullptr) return VNTERR_NULL_POINTER;
    int rc = with_environment(*env, [](vntenv &e) { environment_close(&e); });
    if (rc == 0) *env = nullptr;
    return rc;
}

int VNTLversionnumber(VNTENVptr env, int *version_p)
{
    return with_environment(env, [&](vntenv &) { put(version_p, version_number); });
}

int VNTLEgetnulbytes(VNTENVptr env, int *nulbytes_p)
{
    return with_environment(env, [&](vntenv &) { put(nulbytes_p, 1); });
}

int VNTLgetnumcores(VNTENVptr env, int *numcores_p)
{
    return with_environment(env, [&](vntenv &) {
        put(numcores_p, static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
    });
}

int VNTLEgetmaxthreads(VNTENVptr env)
{
    int threads = 0;
    with_environment(env, [&](vntenv &) { threads = 1; });
    return threads;
}

int VNTLgettime(VNTENVptr env, double *timestamp_p)
{
    return with_environment(env, [&](vntenv &) {
        using seconds = std::chrono::duration<double>;
        put(timestamp_p, seconds(std::chrono::steady_clock::now().time_since_epoch()).count());
    });
}

int VNTLgetdettime(VNTENVptr env, double *dettimestamp_p)
{
    return with_environment(env,
                            [&](vntenv &e) { put(dettimestamp_p, static_cast<double>(e.ticks)); });
}

int VNTLgetchannels(VNTENVptr env, VNTCHANNELptr *results_p, VNTCHANNELptr *warning_p,
                    VNTCHANNELptr *error_p, VNTCHANNELptr *log_p)
{
    return with_environment(env, [&](vntenv &e) {
        put(results_p, &e.channels[CHANNEL_RESULTS]);
        put(warning_p, &e.channels[CHANNEL_WARNING]);
        put(error_p, &e.channels[CHANNEL_ERROR]);
        put(log_p, &e.channels[CHANNEL_LOG]);
    });
}

int VNTLaddfuncdest(VNTENVptr env, VNTCHANNELptr channel, void *handle,
                    void (*msgfunc)(void *handle, const char *text))
{
    return with_environment(env, [&](vntenv &e) {
        require_there(msgfunc != nullptr ? &e : nullptr);
        for (vntchannel &c : e.channels) {
            if (&c != channel) continue;
            c.destinations.push_back({handle, msgfunc});
            return;
        }
        throw failure{VNTERR_BAD_ARGUMENT, "no channel of this environment"};
    });
}

int VNTLsetlogfilename(VNTENVptr env, const char *filename, const char *mode)
{
    return with_environment(env, [&](vntenv &e) {
        if (filename == nullptr) {
            e.log.reset();
            e.log_name.clear();
            return;
        }
        FILE *file = fopen(filename, mode != nullptr && mode[0] == 'a' ? "ae" : "we");
        require(file != nullptr, VNTERR_FILE_CREATE);
        e.log.reset(file);
        e.log_name = filename;
    });
}

int VNTLgetlogfilename(VNTENVptr env, char *buf_str, int64_t bufspace, int64_t *surplus_p)
{
    return with_environment(env,
                            [&](vntenv &e) { put_text(e.log_name, buf_str, bufspace, surplus_p); });
}

int VNTLEsetasyncterminate(VNTENVptr env, volatile int *terminate_p)
{
    return with_environment(env, [&](vntenv &e) { e.terminate = terminate_p; });
}

int VNTEsetterminatefunc(VNTENVptr env, int (*func)(VNTENVptr env, void *data), void *data)
{
    return with_environment(env, [&](vntenv &e) {
        e.terminate_func = func;
        e.terminate_data = data;
    });
}

int VNTEsetpausecallbackfunc(VNTENVptr env,
                             int (*func)(VNTENVptr env, void *cbdata, uint64_t progress,
                                         void *data),
                             void *data)
{
    return with_environment(env, [&](vntenv &e) {
        e.pause_func = func;
        e.pause_data = data;
    });
}

// The window of the pause callback that is running on this thread.  The lock is not asked: the
// solve that opened the window waits in the callback.
static pause_window &open_window(vntenv *env, void *cbdata)
{
    std::shared_ptr<vntenv> open = environment_find(env);
    require(open != nullptr, VNTERR_NO_ENVIRONMENT);
    require(cbdata != nullptr && open->window == cbdata, VNTERR_BAD_ARGUMENT);
    return *open->window;
}

int VNTEgetasyncmipprogress(VNTENVptr env, void *cbdata, int sollen, vntmipprogress *progress,
                            double refobj)
try {
    const pause_window &w = open_window(env, cbdata);
    require_there(progress);
    const engine_progress &now = *w.progress;
    progress->nodes = now.nodes;
    progress->phase = now.search;
    progress->bound = now.bound;
    progress->iterations = now.iterations;
    progress->solutions = static_cast<int32_t>(std::min<int64_t>(now.solutions, INT32_MAX));
    bool found = now.solution != nullptr;
    progress->incumbent = found ? now.incumbent : refobj;
    progress->gap = found ? relative_gap(now.incumbent, now.bound) : 1e75;
    progress->solcount = 0;
    if (found && progress->sol != nullptr && sollen >= w.numcols) {
        std::copy_n(now.solution, w.numcols, progress->sol);
        progress->solcount = w.numcols;
    }
    return 0;
} catch (...) {
    return calls_failed(nullptr, __func__);
}

// The value is in the model's sense once `sense` is taken off it again.
int VNTEasyncprogressinject(VNTENVptr env, void *cbdata, double objval, double sense, double bound)
try {
    const pause_window &w = open_window(env, cbdata);
    require(std::fabs(objval) < std::fabs(bound), VNTERR_BAD_ARGUMENT); // false for no number
    w.reply->inject = true;
    w.reply->cutoff = sense < 0 ? -objval : objval;
    return 0;
} catch (...) {
    return calls_failed(nullptr, __func__);
}

// Presolve works inside the engines and leaves no problem behind.
int VNTLgetredlp(VNTENVptr env, VNTLPptr lp, VNTLPptr *redlp_p)
{
    return with_problem(env, lp, [&](vntlp &) { put(redlp_p, static_cast<VNTLPptr>(nullptr)); });
}
