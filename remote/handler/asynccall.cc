#include "remote/handler/asynccall.h"

#include "remote/base/log.h"
#include "remote/calls/solver.h"
#include "remote/handler/info.h"
#include "remote/handler/timelimit.h"

#include <cstdlib>

namespace vnt {

// Where the transport cannot listen by itself, the solver's terminate poll reads for it.
static void install_poll(handler *h, VNTENVptr env)
{
    const bool polling = h->io->ops.mustpoll(h->io) != 0;
    cell_set(h->polling, polling);
    if (!polling) return;
    const auto getintparam = SOLVER(VNTLgetintparam);
    int threads = 0;
    const bool known = getintparam != nullptr && getintparam(env, VNT_PARAM_THREADS, &threads) == 0;
    asyncpoll_begin(known && threads == 1);
    cell_set(h->ownerthread, pthread_self());
    cell_set(h->ownercheck, 1);
    const auto setterminatefunc = SOLVER(VNTEsetterminatefunc);
    if (setterminatefunc != nullptr) setterminatefunc(env, asyncpollfunc, h);
}

static void remove_poll(handler *h, VNTENVptr env)
{
    if (cell_get(h->polling) == 0) return;
    const auto setterminatefunc = SOLVER(VNTEsetterminatefunc);
    if (setterminatefunc != nullptr) setterminatefunc(env, nullptr, nullptr);
    cell_set(h->polling, 0);
    cell_set(h->ownercheck, 0);
}

static void install_pause(handler *h, VNTENVptr env)
{
    const auto setpausecallbackfunc = SOLVER(VNTEsetpausecallbackfunc);
    h->pauseinstalled =
        setpausecallbackfunc != nullptr && setpausecallbackfunc(env, asyncchecklimit, h) == 0;
}

static void remove_pause(handler *h, VNTENVptr env)
{
    if (h->pauseinstalled == 0) return;
    SOLVER(VNTEsetpausecallbackfunc)(env, nullptr, nullptr);
    h->pauseinstalled = 0;
}

// Answers VNTERR_REMOTE when the timer cannot be set.
static int arm_timelimit(handler *h)
{
    pthread_mutex_lock(&h->statelock);
    const int status = wallclock_tilim_apply(h, h->timelimit);
    pthread_mutex_unlock(&h->statelock);
    return status;
}

static void disarm_timelimit(handler *h)
{
    pthread_mutex_lock(&h->statelock);
    if (h->timerarmed != 0) wallclock_tilim_disarm(h);
    pthread_mutex_unlock(&h->statelock);
}

// Room for a solution of the problem; none where memory is short or there is no problem.
static void make_solution(handler *h, VNTENVptr env, VNTLPptr lp)
{
    const auto getnumcols = SOLVER(VNTLgetnumcols);
    const int columns = getnumcols != nullptr ? getnumcols(env, lp) : 0;
    const size_t room = columns > 0 ? static_cast<size_t>(columns) : 1;
    h->progress.sol = static_cast<double *>(calloc(room, sizeof(double)));
    h->sollen = h->progress.sol != nullptr && columns > 0 ? columns : 0;
}

static void reset_progress(handler *h, VNTENVptr env, VNTLPptr lp)
{
    const auto getobjsen = SOLVER(VNTLgetobjsen);
    pthread_mutex_lock(&h->progresslock);
    free(h->progress.sol);
    h->progress = {};
    h->sollen = 0;
    h->sense = 1.0;
    if (lp != nullptr) {
        if (getobjsen != nullptr && getobjsen(env, lp) == VNT_MAX) h->sense = -1.0;
        make_solution(h, env, lp);
    }
    h->progress.incumbent = h->injected = h->sense * HANDLER_INFINITE;
    pthread_mutex_unlock(&h->progresslock);
}

static void free_progress(handler *h)
{
    pthread_mutex_lock(&h->progresslock);
    free(h->progress.sol);
    h->progress.sol = nullptr;
    h->sollen = 0;
    pthread_mutex_unlock(&h->progresslock);
}

static void set_state(handler *h, int32_t state)
{
    pthread_mutex_lock(&h->statelock);
    h->state = state;
    pthread_mutex_unlock(&h->statelock);
}

// From the moment at which input is armed, requests may come: they wait for asynccallbackmutex
// until the ACK has left.
static void acknowledge(handler_frame *frame, uint32_t requestid, int32_t flags)
{
    handler *h = frame->owner;
    async_start(h->io);
    h->running = static_cast<int32_t>(requestid);
    frame->ack.message = static_cast<int32_t>(requestid);
    frame->ack.flags = flags;
    frame->ack.status = 0;
    pthread_mutex_lock(&h->infolock);
    flushinfo(h, true);
    cell_set(h->pending, h->pending + 1);
    pthread_mutex_unlock(&h->infolock);
    set_state(h, ASYNC_RUNNING);
    h->io->ops.sendmsg(h->io, &frame->ack);
}

static void lock_callbacks(void)
{
    const int rc = pthread_mutex_lock(&asynccallbackmutex);
    if (rc != 0) log_fatal("Failed to lock mutex: %d\n", rc);
}

int asynccall_begin(handler_frame *frame, uint32_t requestid, int32_t flags, VNTENVptr env,
                    VNTLPptr lp)
{
    handler *h = frame->owner;
    lock_callbacks();
    const int status = arm_timelimit(h);
    if (status == 0) {
        cell_set(h->terminate, 0);
        install_poll(h, env);
        install_pause(h, env);
        reset_progress(h, env, lp);
        acknowledge(frame, requestid, flags);
    }
    pthread_mutex_unlock(&asynccallbackmutex);
    return status;
}

void asynccall_end(handler *h, VNTENVptr env)
{
    h->running = -1;
    set_state(h, ASYNC_IDLE);
    async_block(h->io);
    remove_poll(h, env);
    disarm_timelimit(h);
    remove_pause(h, env);
    free_progress(h);
    cell_set(h->terminate, 0); // a late kill must not end the next call
}

} // namespace vnt
