#include "client/async.h"

#include "client/connection.h"
#include "client/control.h"
#include "client/visit.h"
#include "remote/base/clock.h"
#include "remote/base/entry.h"
#include "remote/calls/flags.h"

#include <algorithm>
#include <cstdlib>

namespace vnt {

// How often a pause callback is called, in seconds.
static constexpr double PAUSE_INTERVAL = 0.1;

// Sends the request and waits for the acknowledgement.
static int remote_start(client_env *e, void *request)
{
    if (e->remote == 0) client_flags(request) |= FLAG_USEDEFAULTS;
    client_flags(request) |= FLAG_ASYNCHRONOUS;
    const void *acknowledgement;
    int rc = client_roundtrip(e, request, VNTMESSAGEID_ACK, &acknowledgement);
    if (rc != 0) return rc;
    e->started = {};
    e->started.running = true;
    e->started.state = VNTCLIENT_RUNNING;
    e->limits_set = clock_now();
    return 0;
}

int client_call_start(client_env *e, void *request, uint32_t response_id, client_finish finish,
                      const void *memory, size_t size)
{
    e->armed = false;
    void *copy = malloc(size + 1);
    if (copy == nullptr) return client_fail_memory();
    memcpy(copy, memory, size);
    int rc = remote_start(e, request);
    if (rc != 0) {
        free(copy);
        return rc;
    }
    e->started.response = response_id;
    e->started.finish = finish;
    e->started.memory = copy;
    return 0;
}

// Asks for the answer of the call that has ended, and waits for it.  It is null where it got lost
// on an earlier attempt.
static int result_fetch(client_env *e, const void **response)
{
    if (e->visiting) return client_visit_result(e, response);
    int rc = client_control_get_result(e);
    return rc == 0 ? client_await(e, e->started.response, response) : rc;
}

client_small_call::client_small_call(const client_env *e) : message()
{
    message.messageid = VNTMESSAGEID_GETINTPARAM_REQ;
    message.flags = FLAG_ASYNCHRONOUS | (e->remote == 0 ? FLAG_USEDEFAULTS : 0);
    client_value_put(&message.env, env, e->remote);
    message.whichparam = VNT_PARAM_THREADS;
}

// A test cannot tell a worker without a call from one whose call has ended, and asking the former
// for a result ends it.  So this starts a small call, which a worker that has one refuses.
int client_started_check(client_env *e)
{
    const client_small_call request(e);
    const void *answer;
    int rc = client_roundtrip(e, &request.message, VNTMESSAGEID_ACK, &answer);
    if (rc != 0) return e->state == CLIENT_OPEN ? 0 : rc;
    rc = client_control_get_result(e);
    return rc == 0 ? client_await(e, VNTMESSAGEID_GETINTPARAM_RES, &answer) : rc;
}

static bool has_limits(const client_limits &limits)
{
    return limits.progress > 0 || limits.seconds < VNTCLIENT_NONE;
}

// The caller's limits, less the time that has gone.
static client_limits remaining(const client_env *e)
{
    client_limits limits = e->limits;
    if (limits.seconds < VNTCLIENT_NONE)
        limits.seconds = std::max(0.0, limits.seconds - clock_elapsed(e->limits_set));
    return limits;
}

bool client_wants_end(client_env *e)
{
    volatile int *flag = e->terminate_flag; // any thread may set it
    if (flag != nullptr && __atomic_load_n(flag, __ATOMIC_RELAXED) != 0) return true;
    return e->terminate_func != nullptr && e->terminate_func(e->handle, e->terminate_data) != 0;
}

// Handles a solve that has paused.  The pause callback decides, if there is one.  A started call at
// the caller's own limit stays paused for the caller.  Any other pause is left over from reading
// the progress, and the solve goes on.
int client_serve_pause(client_env *e, bool started)
{
    if (e->pause_func != nullptr) {
        auto milliseconds = static_cast<uint64_t>(clock_elapsed(e->limits_set) * 1000);
        int rc = e->pause_func(e->handle, e, milliseconds, e->pause_data);
        return rc == 0 ? client_control_continue(e, {0, PAUSE_INTERVAL})
                       : client_control_terminate(e);
    }
    if (started && has_limits(e->limits))
        return client_fail(VNTERR_SOLVING, "the solve has paused at a limit");
    return client_control_continue(e, {0, VNTCLIENT_NONE});
}

// Waits for the end of the call.  It tests the call at intervals of 1/128 of the time elapsed,
// which neither delays short calls nor disturbs long ones.
static int attend(client_env *e, bool started)
{
    int64_t begin = clock_now();
    int rc = e->pause_func != nullptr ? client_control_limits(e, {1, VNTCLIENT_NONE}) : 0;
    bool ending = false;
    while (rc == 0) {
        if (!ending && client_wants_end(e)) {
            ending = true;
            rc = client_control_kill(e);
            if (rc != 0) break;
        }
        int state;
        rc = client_control_test(e, &state);
        if (rc != 0 || state == VNTCLIENT_ENDED) break;
        if (state == VNTCLIENT_PAUSED)
            rc = client_serve_pause(e, started);
        else
            clock_sleep(std::clamp(clock_elapsed(begin) / 128, 0.0001, 0.02));
    }
    if (rc == 0 && e->pause_func != nullptr) rc = client_control_limits(e, e->limits);
    return rc;
}

static int attended(client_env *e, bool started)
{
    if (e->attending) return client_fail(VNTERR_SOLVING, "the environment waits for a call");
    e->attending = true;
    int rc = attend(e, started);
    e->attending = false;
    return rc;
}

bool client_call_is_watched(const client_env *e, const void *request)
{
    if (e->terminate_flag == nullptr && e->terminate_func == nullptr && e->pause_func == nullptr)
        return false;
    if (e->started.running || e->attending) return false;
    const solver_call *call = solvercalls_find(message_id(request));
    return call != nullptr && call->runs_long;
}

int client_call_watch(client_env *e, void *request, uint32_t response_id, const void **response)
{
    int rc = remote_start(e, request);
    if (rc != 0) return rc;
    e->started.response = response_id;
    rc = attended(e, false);
    if (e->state != CLIENT_OPEN) return rc;
    int answer = result_fetch(e, response);
    return answer != 0 ? answer : rc;
}

// How long a call that was told to end may take to do so, in seconds.
static constexpr double LAST_MOMENTS = 2;

void client_call_abandon(client_env *e)
{
    if (!e->started.running || client_ready(e) != 0) return;
    const void *response;
    int state = VNTCLIENT_RUNNING;
    int rc = client_control_kill(e);
    int64_t begin = clock_now();
    while (rc == 0 && state != VNTCLIENT_ENDED && clock_elapsed(begin) < LAST_MOMENTS) {
        clock_sleep(std::min(clock_elapsed(begin) / 4, 0.01));
        rc = client_control_test(e, &state);
    }
    if (rc != 0) return;
    if (state == VNTCLIENT_ENDED)
        result_fetch(e, &response);
    else
        client_lose(e, "the call does not end"); // the server ends the worker
}

// --- What the caller sees --------------------------------------------------------------------

// Finds an environment that has started a call.
int client_started_find(VNTENVptr env, client_env **e)
{
    int rc = client_env_find(env, e);
    if (rc == 0) rc = client_ready(*e);
    if (rc == 0 && !(*e)->started.running)
        rc = client_fail(VNTERR_BAD_ARGUMENT, "no call was started");
    return rc;
}

VNT_ENTRY int vntclient_start(VNTENVptr env)
{
    client_env *e;
    int rc = client_env_find_open(env, &e);
    if (rc != 0) return rc;
    if (e->started.running) return client_fail(VNTERR_SOLVING, "a started call was not joined");
    e->armed = true;
    return 0;
}

VNT_ENTRY int vntclient_test(VNTENVptr env, int *state_p)
{
    client_env *e;
    int rc = client_started_find(env, &e);
    int state;
    if (rc == 0) rc = client_control_test(e, &state);
    if (rc == 0 && state_p != nullptr) *state_p = state;
    return rc;
}

VNT_ENTRY int vntclient_kill(VNTENVptr env)
{
    client_env *e;
    int rc = client_started_find(env, &e);
    return rc == 0 ? client_control_kill(e) : rc;
}

VNT_ENTRY int vntclient_terminate(VNTENVptr env)
{
    client_env *e;
    int rc = client_started_find(env, &e);
    return rc == 0 ? client_control_terminate(e) : rc;
}

// Pauses a running call by a progress limit that it has reached already.  `halted` becomes true
// when the call is paused by this and must be continued; a solve that has paused at the caller's
// own limit is not touched.
//
// The limit in seconds stays set meanwhile: without one the worker would stop its clock.  When the
// solve does not check its limits within a second, this gives up and sends a continue, which
// restores the limits and also resumes a solve that has paused after the last test.
static int halt(client_env *e, int *state, bool *halted)
{
    *halted = false;
    int rc = client_control_test(e, state);
    if (rc != 0 || *state != VNTCLIENT_RUNNING) return rc;
    rc = client_control_limits(e, {1, e->limits.seconds});
    int64_t begin = clock_now();
    while (rc == 0 && clock_elapsed(begin) < 1) {
        rc = client_control_test(e, state);
        if (rc != 0 || *state != VNTCLIENT_RUNNING) break;
        clock_sleep(std::clamp(clock_elapsed(begin) / 4, 0.0001, 0.01));
    }
    *halted = rc == 0 && *state == VNTCLIENT_PAUSED;
    if (rc == 0 && *state == VNTCLIENT_ENDED) rc = client_control_limits(e, e->limits);
    if (rc == 0 && *state == VNTCLIENT_RUNNING) rc = client_control_continue(e, remaining(e));
    return rc;
}

static void keep_limits(client_env *e, int64_t progress, double seconds)
{
    e->limits = {progress, seconds < VNTCLIENT_NONE ? seconds : VNTCLIENT_NONE};
    e->limits_set = clock_now();
}

VNT_ENTRY int vntclient_setlimits(VNTENVptr env, int64_t progress, double seconds)
{
    client_env *e;
    int rc = client_env_find_open(env, &e);
    if (rc != 0) return rc;
    keep_limits(e, progress, seconds);
    if (!e->started.running) {
        rc = client_control_limits(e, e->limits);
        if (rc == 0) e->may_pause = has_limits(e->limits);
        return rc;
    }
    int state;
    bool halted;
    rc = halt(e, &state, &halted);
    if (rc != 0 || state == VNTCLIENT_RUNNING) return rc;
    return halted ? client_control_continue(e, remaining(e)) : client_control_limits(e, e->limits);
}

VNT_ENTRY int vntclient_continue(VNTENVptr env, int64_t progress, double seconds)
{
    client_env *e;
    int rc = client_started_find(env, &e);
    if (rc != 0) return rc;
    keep_limits(e, progress, seconds);
    return client_control_continue(e, e->limits);
}

VNT_ENTRY int vntclient_progress(VNTENVptr env, int sollen, vntmipprogress *progress)
{
    client_env *e;
    int rc = client_started_find(env, &e);
    if (rc == VNTERR_BAD_ARGUMENT) return client_fail(VNTERR_NO_SOLUTION, "nothing is running");
    if (rc != 0) return rc;
    if (progress == nullptr) return client_fail(VNTERR_NULL_POINTER, "no place for the progress");
    int state;
    bool halted;
    rc = halt(e, &state, &halted);
    if (rc != 0) return rc;
    if (state == VNTCLIENT_ENDED) return client_fail(VNTERR_NO_SOLUTION, "the call has ended");
    rc = client_control_progress(e, sollen, progress);
    if (!halted || e->state != CLIENT_OPEN) return rc;
    int resumed = client_control_continue(e, remaining(e));
    return rc != 0 ? rc : resumed;
}

VNT_ENTRY int vntclient_inject(VNTENVptr env, double objval)
{
    client_env *e;
    int rc = client_started_find(env, &e);
    return rc == 0 ? client_control_inject(e, objval) : rc;
}

// Fetches the result and ends the call as its stub would have.
int client_started_finish(client_env *e)
{
    client_started call = e->started;
    const void *response;
    int rc = result_fetch(e, &response);
    e->started = {};
    // Every answer to a solver call begins with an int: its status, or what it counted.
    if (rc == 0 && response != nullptr)
        rc = call.finish != nullptr ? call.finish(e, response, call.memory)
                                    : client_flags(const_cast<void *>(response));
    free(call.memory);
    return rc;
}

// Whether the only event in a started call is its end: nothing watches it, and it cannot pause.  To
// ask for the result of a paused call would end it.  A read time-out needs signs of life.
static bool is_unattended(const client_env *e)
{
    return e->terminate_flag == nullptr && e->terminate_func == nullptr &&
           e->pause_func == nullptr && !e->may_pause && e->readtimeout < 0 && !e->visiting &&
           !e->attending;
}

VNT_ENTRY int vntclient_join(VNTENVptr env)
{
    client_env *e;
    int rc = client_started_find(env, &e);
    if (rc == 0 && !is_unattended(e)) rc = attended(e, true);
    return rc == 0 ? client_started_finish(e) : rc;
}

// --- What a pause callback asks --------------------------------------------------------------

VNT_ENTRY int VNTEgetasyncmipprogress(VNTENVptr env, void *, int sollen, vntmipprogress *progress,
                                      double)
{
    client_env *e;
    int rc = client_env_find_open(env, &e);
    if (rc != 0) return rc;
    if (!e->attending) return client_fail(VNTERR_NO_SOLUTION, "this is no pause callback");
    if (progress == nullptr) return client_fail(VNTERR_NULL_POINTER, "no place for the progress");
    return client_control_progress(e, sollen, progress);
}

// The solver takes the value times the sense, and so does the worker from its message.
VNT_ENTRY int VNTEasyncprogressinject(VNTENVptr env, void *, double objval, double sense, double)
{
    client_env *e;
    int rc = client_env_find_open(env, &e);
    if (rc != 0) return rc;
    if (!e->attending) return client_fail(VNTERR_NO_SOLUTION, "this is no pause callback");
    return client_control_inject(e, objval * sense);
}

} // namespace vnt
