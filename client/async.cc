// async.cc: calls that run in the worker while this process does other things, and synchronous
// ones that somebody here wants to be able to end.
//
// The worker acknowledges such a call at once and serves control requests while it runs.  Its
// answer leaves once GETRES has asked for it; after GETRES nothing else is served until then, so
// that is sent when the call has ended.
#include "client/connection.h"
#include "remote/base/byteorder.h"
#include "remote/base/clock.h"
#include "remote/base/entry.h"
#include "remote/calls/flags.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace vnt {

// How often a pause callback is called, in seconds.
static constexpr double PAUSE_INTERVAL = 0.1;

// --- Control requests ------------------------------------------------------------------------

// Most control requests begin with flags and environment and are answered by a status.
template <class Request, class Response> static int control(client_env *e, uint32_t id,
                                                            uint32_t responseid, Request &request,
                                                            const Response **response)
{
    char env16[16];
    request.messageid = id;
    if constexpr (requires { request.env; }) {
        if (e->remote == 0) request.flags |= FLAG_USEDEFAULTS;
        client_value_put(&request.env, env16, e->remote);
    }
    const void *message;
    int rc = client_roundtrip(e, &request, responseid, &message);
    if (rc != 0) return rc;
    *response = static_cast<const Response *>(message);
    return (*response)->status;
}

#define CONTROL(name, answer, request)                                                             \
    [&] {                                                                                          \
        const vntmsg_##answer *response;                                                           \
        return control(e, VNTMESSAGEID_##name, VNTMESSAGEID_##answer, request, &response);         \
    }()

static int kill(client_env *e)
{
    vntmsg_ASYNCKILL_REQ request = {};
    return CONTROL(ASYNCKILL_REQ, ASYNCKILL_RES, request);
}

static int terminate(client_env *e)
{
    vntmsg_EASYNCTERMINATE_REQ request = {};
    return CONTROL(EASYNCTERMINATE_REQ, EASYNCTERMINATE_RES, request);
}

static int limits_send(client_env *e, client_limits limits)
{
    vntmsg_EASYNCLIMITS_REQ request = {};
    request.dettime = limits.progress;
    request.walltime = limits.seconds;
    return CONTROL(EASYNCLIMITS_REQ, EASYNCLIMITS_RES, request);
}

static int continue_send(client_env *e, client_limits limits)
{
    vntmsg_EASYNCCONTINUE_REQ request = {};
    request.dettime = limits.progress;
    request.walltime = limits.seconds;
    return CONTROL(EASYNCCONTINUE_REQ, EASYNCCONTINUE_RES, request);
}

static int inject(client_env *e, double objval)
{
    vntmsg_EASYNCMIPINJECT_REQ request = {};
    request.objval = objval;
    return CONTROL(EASYNCMIPINJECT_REQ, EASYNCMIPINJECT_RES, request);
}

static int test(client_env *e, int *state)
{
    *state = VNTCLIENT_ENDED;
    vntmsg_ASYNCTEST_REQ request = {};
    const vntmsg_ASYNCTEST_RES *response;
    int rc = control(e, VNTMESSAGEID_ASYNCTEST_REQ, VNTMESSAGEID_ASYNCTEST_RES, request, &response);
    if (rc == 0) *state = response->running_p;
    return rc;
}

static void progress_unpack(byte_reader from, int sollen, vntmipprogress *progress)
{
    progress->nodes = from.take<int64_t>();
    progress->phase = from.take<int32_t>();
    progress->bound = from.take<double>();
    progress->iterations = from.take<int64_t>();
    progress->incumbent = from.take<double>();
    progress->gap = from.take<double>();
    progress->solutions = from.take<int32_t>();
    int64_t count = from.take<int64_t>();
    if (progress->sol == nullptr) sollen = 0;
    count = std::min({count, int64_t(sollen), static_cast<int64_t>(from.left() / sizeof(double))});
    progress->solcount = std::max<int64_t>(count, 0);
    for (int64_t i = 0; i < progress->solcount; i++)
        progress->sol[i] = from.take<double>();
}

static int progress_fetch(client_env *e, int sollen, vntmipprogress *progress)
{
    vntmsg_EASYNCMIPPROGRESS_REQ request = {};
    const vntmsg_EASYNCMIPPROGRESS_RES *response;
    int rc = control(e, VNTMESSAGEID_EASYNCMIPPROGRESS_REQ, VNTMESSAGEID_EASYNCMIPPROGRESS_RES,
                     request, &response);
    if (rc != 0) return rc;
    const message_array &bytes = response->progress_p;
    if (bytes.type != TYPE_BYTE || bytes.nchunks != 1)
        return client_fail(VNTERR_NO_SOLUTION, "the worker has no progress to tell");
    progress_unpack({bytes.chunks->data, bytes.chunks->count}, sollen, progress);
    return 0;
}

// --- The life of a started call --------------------------------------------------------------

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
    e->limitsset = clock_now();
    return 0;
}

int client_call_start(client_env *e, void *request, uint32_t responseid, client_finish finish,
                      const void *memory, size_t size)
{
    e->armed = false;
    void *copy = malloc(size + 1);
    if (copy == nullptr) return client_fail(VNTERR_NO_MEMORY, "out of memory");
    memcpy(copy, memory, size);
    int rc = remote_start(e, request);
    if (rc != 0) {
        free(copy);
        return rc;
    }
    e->started.response = responseid;
    e->started.finish = finish;
    e->started.memory = copy;
    return 0;
}

// Asks for the answer of the call that has ended, and waits for it.
static int result_fetch(client_env *e, const void **response)
{
    uint32_t responseid = e->started.response;
    e->started.running = false;
    vntmsg_GETRES request = {};
    request.messageid = VNTMESSAGEID_GETRES;
    int rc = client_send(e, &request);
    if (rc != 0) return rc;
    return responseid != 0 ? client_await(e, responseid, response) : client_await_any(e, response);
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
        limits.seconds = std::max(0.0, limits.seconds - clock_elapsed(e->limitsset));
    return limits;
}

static bool wants_end(client_env *e)
{
    volatile int *cell = e->terminateflag; // any thread may set it
    if (cell != nullptr && __atomic_load_n(cell, __ATOMIC_RELAXED) != 0) return true;
    return e->terminatefunc != nullptr && e->terminatefunc(e->handle, e->terminatedata) != 0;
}

// What to do about a solve that has paused.  A limit that the caller has set is the caller's
// matter when the call was started; without one, the pause is left over from a look at the
// progress.
static int serve_pause(client_env *e, bool started)
{
    if (e->pausefunc != nullptr) {
        auto milliseconds = static_cast<uint64_t>(clock_elapsed(e->limitsset) * 1000);
        int rc = e->pausefunc(e->handle, e, milliseconds, e->pausedata);
        return rc == 0 ? continue_send(e, {0, PAUSE_INTERVAL}) : terminate(e);
    }
    if (started && has_limits(e->limits))
        return client_fail(VNTERR_SOLVING, "the solve has paused at a limit");
    return continue_send(e, {0, VNTCLIENT_NONE});
}

// Stays with the call until it has ended.  The looks at it come in 1/16 of the time that has gone,
// so that short calls are not delayed and long ones not disturbed.
static int attend(client_env *e, bool started)
{
    int64_t begin = clock_now();
    int rc = e->pausefunc != nullptr ? limits_send(e, {1, VNTCLIENT_NONE}) : 0;
    bool ending = false;
    while (rc == 0) {
        if (!ending && wants_end(e)) {
            ending = true;
            rc = kill(e);
            if (rc != 0) break;
        }
        int state;
        rc = test(e, &state);
        if (rc != 0 || state == VNTCLIENT_ENDED) break;
        if (state == VNTCLIENT_PAUSED)
            rc = serve_pause(e, started);
        else
            clock_sleep(std::clamp(clock_elapsed(begin) / 16, 0.0001, 0.02));
    }
    if (rc == 0 && e->pausefunc != nullptr) rc = limits_send(e, e->limits);
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

bool client_call_iswatched(const client_env *e, const void *request)
{
    if (e->terminateflag == nullptr && e->terminatefunc == nullptr && e->pausefunc == nullptr)
        return false;
    if (e->started.running || e->attending) return false;
    const solver_call *call = solvercalls_find(message_id(request));
    return call != nullptr && call->runs_long;
}

int client_call_watch(client_env *e, void *request, uint32_t responseid, const void **response)
{
    int rc = remote_start(e, request);
    if (rc != 0) return rc;
    e->started.response = responseid;
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
    int rc = kill(e);
    int64_t begin = clock_now();
    while (rc == 0 && state != VNTCLIENT_ENDED && clock_elapsed(begin) < LAST_MOMENTS) {
        clock_sleep(std::min(clock_elapsed(begin) / 4, 0.01));
        rc = test(e, &state);
    }
    if (rc != 0) return;
    if (state == VNTCLIENT_ENDED)
        result_fetch(e, &response);
    else
        client_lose(e, "the call does not end"); // the server ends the worker
}

// --- What the caller sees --------------------------------------------------------------------

// Finds an environment that has started a call.
static int started_find(VNTENVptr env, client_env **e)
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
    int rc = client_env_find(env, &e);
    if (rc == 0) rc = client_ready(e);
    if (rc != 0) return rc;
    if (e->started.running) return client_fail(VNTERR_SOLVING, "a started call was not joined");
    e->armed = true;
    return 0;
}

VNT_ENTRY int vntclient_test(VNTENVptr env, int *state_p)
{
    client_env *e;
    int rc = started_find(env, &e);
    int state;
    if (rc == 0) rc = test(e, &state);
    if (rc == 0 && state_p != nullptr) *state_p = state;
    return rc;
}

VNT_ENTRY int vntclient_kill(VNTENVptr env)
{
    client_env *e;
    int rc = started_find(env, &e);
    return rc == 0 ? kill(e) : rc;
}

VNT_ENTRY int vntclient_terminate(VNTENVptr env)
{
    client_env *e;
    int rc = started_find(env, &e);
    return rc == 0 ? terminate(e) : rc;
}

// A worker looks at its limits when a call starts or goes on, so a running call is halted by a
// limit that it has reached already.  `halted` tells whether it now waits to go on; a solve that
// paused at the caller's own limit is left as it is.
static int halt(client_env *e, int *state, bool *halted)
{
    *halted = false;
    int rc = test(e, state);
    if (rc != 0 || *state != VNTCLIENT_RUNNING) return rc;
    rc = limits_send(e, {1, VNTCLIENT_NONE});
    int64_t begin = clock_now();
    while (rc == 0 && clock_elapsed(begin) < 1) {
        rc = test(e, state);
        if (rc != 0 || *state != VNTCLIENT_RUNNING) break;
        clock_sleep(std::clamp(clock_elapsed(begin) / 4, 0.0001, 0.01));
    }
    *halted = rc == 0 && *state == VNTCLIENT_PAUSED;
    if (rc == 0 && !*halted) rc = limits_send(e, e->limits);
    return rc;
}

VNT_ENTRY int vntclient_setlimits(VNTENVptr env, int64_t progress, double seconds)
{
    client_env *e;
    int rc = client_env_find(env, &e);
    if (rc == 0) rc = client_ready(e);
    if (rc != 0) return rc;
    e->limits = {progress, seconds < VNTCLIENT_NONE ? seconds : VNTCLIENT_NONE};
    e->limitsset = clock_now();
    if (!e->started.running) return limits_send(e, e->limits);
    int state;
    bool halted;
    rc = halt(e, &state, &halted);
    if (rc != 0) return rc;
    return halted ? continue_send(e, remaining(e)) : limits_send(e, e->limits);
}

VNT_ENTRY int vntclient_continue(VNTENVptr env, int64_t progress, double seconds)
{
    client_env *e;
    int rc = started_find(env, &e);
    if (rc != 0) return rc;
    e->limits = {progress, seconds < VNTCLIENT_NONE ? seconds : VNTCLIENT_NONE};
    e->limitsset = clock_now();
    return continue_send(e, e->limits);
}

VNT_ENTRY int vntclient_progress(VNTENVptr env, int sollen, vntmipprogress *progress)
{
    client_env *e;
    int rc = started_find(env, &e);
    if (rc == VNTERR_BAD_ARGUMENT) return client_fail(VNTERR_NO_SOLUTION, "nothing is running");
    if (rc != 0) return rc;
    if (progress == nullptr) return client_fail(VNTERR_NULL_POINTER, "no place for the progress");
    int state;
    bool halted;
    rc = halt(e, &state, &halted);
    if (rc != 0) return rc;
    if (state == VNTCLIENT_ENDED) return client_fail(VNTERR_NO_SOLUTION, "the call has ended");
    rc = progress_fetch(e, sollen, progress);
    if (!halted || e->state != CLIENT_OPEN) return rc;
    int resumed = continue_send(e, remaining(e));
    return rc != 0 ? rc : resumed;
}

VNT_ENTRY int vntclient_inject(VNTENVptr env, double objval)
{
    client_env *e;
    int rc = started_find(env, &e);
    return rc == 0 ? inject(e, objval) : rc;
}

// Fetches the result and ends the call as its stub would have.
static int started_finish(client_env *e)
{
    client_started call = e->started;
    const void *response;
    int rc = result_fetch(e, &response);
    e->started = {};
    // Every answer to a solver call begins with an int: its status, or what it counted.
    if (rc == 0)
        rc = call.finish != nullptr ? call.finish(e, response, call.memory)
                                    : client_flags(const_cast<void *>(response));
    free(call.memory);
    return rc;
}

VNT_ENTRY int vntclient_join(VNTENVptr env)
{
    client_env *e;
    int rc = started_find(env, &e);
    if (rc == 0) rc = attended(e, true);
    return rc == 0 ? started_finish(e) : rc;
}

// How long a worker is out of reach, in seconds, before that is told, and before somebody who
// wants to end the solve is not kept waiting any more.
static constexpr double SHORT_PATIENCE = 2;

static void warn_away(client_env *e)
{
    std::string text = std::string(vntclient_errortext()) + "; it is tried again\n";
    client_warn(e, text.c_str());
}

// Tries until it succeeds, the worker is gone or the patience is over.  A connection that breaks
// on the way may have carried the request to disconnect all the same, so it is tried again.
static int persist(client_env *e, double patience, int (*step)(client_env *e, int *state),
                   int *state)
{
    int64_t begin = clock_now();
    bool told = false;
    for (;;) {
        int rc = step(e, state);
        if (rc == 0 || e->state != CLIENT_AWAY) return rc;
        double gone = clock_elapsed(begin);
        if (gone > (wants_end(e) ? std::min(patience, SHORT_PATIENCE) : patience)) {
            e->state = CLIENT_LOST;
            return client_fail(VNTERR_CONNECTION_LOST, "the worker could not be reached again");
        }
        if (gone > SHORT_PATIENCE && !told) warn_away(e);
        told = gone > SHORT_PATIENCE;
        clock_sleep(0.25);
    }
}

// What is lost after the arrival may be found again.
static int keep_away(client_env *e, int rc)
{
    if (e->state == CLIENT_LOST) e->state = CLIENT_AWAY;
    return rc;
}

static int come_back(client_env *e, int *)
{
    int rc = client_arrive(e);
    return rc == 0 ? keep_away(e, client_greet(e)) : rc;
}

// Asks how the call stands, in passing.  All is sent in one go: once it is under way the worker
// hears that it is left again, even when this process or the network ends that moment.
static int ask(client_env *e, int *state)
{
    vntmsg_RECONNECT_REQ hello = {};
    vntmsg_ASYNCTEST_REQ question = {};
    vntmsg_DISCONNECT_REQ farewell = {};
    hello.messageid = VNTMESSAGEID_RECONNECT_REQ;
    question.messageid = VNTMESSAGEID_ASYNCTEST_REQ;
    farewell.messageid = VNTMESSAGEID_DISCONNECT_REQ;
    int rc = client_send(e, &hello);
    if (rc == 0) rc = client_send(e, &question);
    if (rc == 0) rc = client_send(e, &farewell);
    const void *answer;
    if (rc == 0) rc = client_await(e, VNTMESSAGEID_RECONNECT_RES, &answer);
    if (rc == 0) rc = client_await(e, VNTMESSAGEID_ASYNCTEST_RES, &answer);
    if (rc == 0) *state = static_cast<const vntmsg_ASYNCTEST_RES *>(answer)->running_p;
    if (rc == 0) rc = client_await(e, VNTMESSAGEID_DISCONNECT_RES, &answer);
    if (rc == 0) client_depart(e);
    return rc;
}

static int visit(client_env *e, int *state)
{
    int rc = client_arrive(e);
    return rc == 0 ? keep_away(e, ask(e, state)) : rc;
}

// Leaves the worker for a while, and for longer when nobody wants to look: then it is only asked
// in passing whether the call has ended.
static int leave(client_env *e, double interval, double patience, bool look)
{
    int state = VNTCLIENT_RUNNING;
    int rc = keep_away(e, client_disconnect(e));
    if (e->state != CLIENT_AWAY) return rc;
    do {
        clock_sleep(interval);
        if (look || wants_end(e)) break;
        rc = persist(e, patience, visit, &state);
    } while (rc == 0 && state == VNTCLIENT_RUNNING);
    return e->state == CLIENT_AWAY ? persist(e, patience, come_back, &state) : rc;
}

// Between two absences: whether the solve has ended, what it needs, what the caller wants.
static int look_in(client_env *e, bool *ended, bool *ending, int (*look)(VNTENVptr env, void *data),
                   void *data)
{
    int state;
    int rc = test(e, &state);
    *ended = rc == 0 && state == VNTCLIENT_ENDED;
    if (rc != 0 || *ended) return rc;
    if (state == VNTCLIENT_PAUSED) rc = serve_pause(e, true);
    if (rc != 0 || *ending) return rc;
    *ending = (look != nullptr && look(e->handle, data) != 0) || wants_end(e);
    return *ending ? kill(e) : 0;
}

VNT_ENTRY int vntclient_joinresilient(VNTENVptr env, double interval, double patience,
                                      int (*look)(VNTENVptr env, void *data), void *data)
{
    client_env *e;
    int rc = started_find(env, &e);
    if (rc != 0) return rc;
    if (e->attending) return client_fail(VNTERR_SOLVING, "the environment waits for a call");
    e->attending = true;
    bool ended = false, ending = false;
    while (rc == 0) {
        rc = look_in(e, &ended, &ending, look, data);
        if (rc != 0 || ended) break;
        rc = leave(e, ending ? 0 : interval, patience, look != nullptr || ending);
    }
    e->attending = false;
    return rc == 0 ? started_finish(e) : rc;
}

// --- What a pause callback asks --------------------------------------------------------------

VNT_ENTRY int VNTEgetasyncmipprogress(VNTENVptr env, void *, int sollen, vntmipprogress *progress,
                                      double)
{
    client_env *e;
    int rc = client_env_find(env, &e);
    if (rc == 0) rc = client_ready(e);
    if (rc != 0) return rc;
    if (!e->attending) return client_fail(VNTERR_NO_SOLUTION, "this is no pause callback");
    if (progress == nullptr) return client_fail(VNTERR_NULL_POINTER, "no place for the progress");
    return progress_fetch(e, sollen, progress);
}

// The solver takes the value times the sense, and so does the worker from its message.
VNT_ENTRY int VNTEasyncprogressinject(VNTENVptr env, void *, double objval, double sense, double)
{
    client_env *e;
    int rc = client_env_find(env, &e);
    if (rc == 0) rc = client_ready(e);
    if (rc != 0) return rc;
    if (!e->attending) return client_fail(VNTERR_NO_SOLUTION, "this is no pause callback");
    return inject(e, objval * sense);
}

} // namespace vnt
