#include "remote/handler/pausegate.h"

#include "remote/base/holders.h"
#include "remote/calls/solver.h"
#include "remote/handler/asynccall.h"
#include "remote/handler/handler.h"

#include <unistd.h>

namespace vnt {

// What the pause callback returns to end the solve.
static constexpr int STOP_SOLVING = 13;

// How long a held thread that polls sleeps before it looks for input again, in microseconds.
static constexpr useconds_t POLL_PAUSE = 5000;

static int create_locks(pause_gate *g)
{
    if (pthread_mutex_init(&g->pause_lock, nullptr) != 0) return MESSAGE_LOCK;
    if (pthread_mutex_init(&g->state_lock, nullptr) != 0) {
        pthread_mutex_destroy(&g->pause_lock);
        return MESSAGE_LOCK;
    }
    if (pthread_cond_init(&g->changed, nullptr) == 0) return 0;
    pthread_mutex_destroy(&g->state_lock);
    pthread_mutex_destroy(&g->pause_lock);
    return MESSAGE_LOCK;
}

static void destroy_locks(pause_gate *g)
{
    pthread_mutex_destroy(&g->pause_lock);
    pthread_mutex_destroy(&g->state_lock);
    pthread_cond_destroy(&g->changed);
}

int pausegate_create(pause_gate *g)
{
    int rc = create_locks(g);
    if (rc != 0) return rc;
    rc = wallclock_tilim_create(&g->time);
    if (rc != 0) destroy_locks(g);
    return rc;
}

void pausegate_destroy(pause_gate *g)
{
    wallclock_tilim_destroy(&g->time);
    destroy_locks(g);
}

int pausegate_arm(pause_gate *g)
{
    const mutex_holder held(&g->state_lock);
    return wallclock_tilim_apply(&g->time);
}

void pausegate_disarm(pause_gate *g)
{
    const mutex_holder held(&g->state_lock);
    wallclock_tilim_disarm(&g->time);
}

void pausegate_run(pause_gate *g)
{
    const mutex_holder held(&g->state_lock);
    g->fetched = false;
    g->state = ASYNC_STATE_RUNNING;
}

void pausegate_idle(pause_gate *g)
{
    const mutex_holder held(&g->state_lock);
    g->state = ASYNC_STATE_IDLE;
}

async_state pausegate_shown(pause_gate *g)
{
    const mutex_holder held(&g->state_lock);
    return g->state > ASYNC_STATE_PAUSED ? ASYNC_STATE_RUNNING : g->state;
}

// With the state lock held.
static void change_state(pause_gate *g, async_state state)
{
    g->state = state;
    pthread_cond_signal(&g->changed);
}

void pausegate_limits_set(pause_gate *g, int64_t progress, double seconds)
{
    const mutex_holder held(&g->state_lock);
    g->limit = static_cast<uint64_t>(progress);
    g->time.seconds = seconds;
    if (!wallclock_tilim_limits(seconds)) wallclock_tilim_apply(&g->time);
}

int pausegate_continue(pause_gate *g, int64_t progress, double seconds)
{
    const mutex_holder held(&g->state_lock);
    g->limit = static_cast<uint64_t>(progress);
    g->time.seconds = seconds;
    const int status = wallclock_tilim_apply(&g->time);
    if (g->state != ASYNC_STATE_IDLE && g->state != ASYNC_STATE_TERMINATE)
        change_state(g, ASYNC_STATE_CONTINUE);
    return status;
}

void pausegate_terminate(pause_gate *g)
{
    const mutex_holder held(&g->state_lock);
    if (g->state != ASYNC_STATE_IDLE) change_state(g, ASYNC_STATE_TERMINATE);
}

void pausegate_fetch(pause_gate *g)
{
    const mutex_holder held(&g->state_lock);
    g->fetched = true;
    if (g->state == ASYNC_STATE_PAUSED) change_state(g, ASYNC_STATE_TERMINATE);
}

void pausegate_install(handler *h, VNTENVptr env)
{
    const auto setpausecallbackfunc = SOLVER(VNTEsetpausecallbackfunc);
    h->gate.installed =
        setpausecallbackfunc != nullptr && setpausecallbackfunc(env, asyncchecklimit, h) == 0;
}

void pausegate_remove(handler *h, VNTENVptr env)
{
    if (!h->gate.installed) return;
    SOLVER(VNTEsetpausecallbackfunc)(env, nullptr, nullptr);
    h->gate.installed = false;
}

static bool may_pass(const pause_gate *g, uint64_t progress)
{
    if (wallclock_tilim_expired(&g->time)) return false;
    const uint64_t limit = g->limit.load();
    return limit == 0 || limit > progress;
}

// With the state lock held, which is released while the thread waits.
static void await_change(handler *h)
{
    pause_gate *g = &h->gate;
    if (!h->poll.active) {
        pthread_cond_wait(&g->changed, &g->state_lock);
        return;
    }
    const mutex_pause pause(&g->state_lock);
    if (solverpoll_serve(&h->poll, h->io) == 0) usleep(POLL_PAUSE);
}

// With the state lock held.
static int hold_solver(handler *h, VNTENVptr env, void *cbdata)
{
    pause_gate *g = &h->gate;
    if (g->state == ASYNC_STATE_IDLE) return 0; // the solver works for a synchronous request
    if (g->state == ASYNC_STATE_TERMINATE || g->fetched) return STOP_SOLVING;
    if (mipprogress_take(&h->progress, env, cbdata) != 0) return STOP_SOLVING;
    g->state = ASYNC_STATE_PAUSED;
    while (g->state == ASYNC_STATE_PAUSED)
        await_change(h);
    if (g->state == ASYNC_STATE_TERMINATE) return STOP_SOLVING;
    if (g->state != ASYNC_STATE_CONTINUE) return 0;
    mipprogress_inject(&h->progress, env, cbdata);
    g->state = ASYNC_STATE_RUNNING;
    return 0;
}

int asyncchecklimit(VNTENVptr env, void *cbdata, uint64_t progress, void *data)
{
    auto *h = static_cast<handler *>(data);
    pause_gate *g = &h->gate;
    if (may_pass(g, progress) || synccall_is_nested()) return 0;
    const mutex_holder pausing(&g->pause_lock);
    // Another of the solver's threads may have been held here until the limit was raised.
    if (may_pass(g, progress)) return 0;
    const mutex_holder held(&g->state_lock);
    return hold_solver(h, env, cbdata);
}

} // namespace vnt
