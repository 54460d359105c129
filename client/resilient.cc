// resilient.cc: joining a call over networks that fail: the worker is left while the call runs.
#include "client/async.h"
#include "client/connection.h"
#include "client/control.h"
#include "client/detach.h"
#include "client/messages.h"
#include "remote/base/clock.h"
#include "remote/base/entry.h"

#include <algorithm>
#include <cstdio>

namespace vnt {

// How long a worker may be out of reach, in seconds, before the caller hears of it, and before one
// who wants to end the solve waits no longer.
static constexpr double SHORT_PATIENCE = 2;

static void complain_away(client_env *e)
{
    char text[600];
    snprintf(text, sizeof text, "%s; it is tried again\n", vntclient_errortext());
    client_complain(e, text);
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
        if (gone > (client_wants_end(e) ? std::min(patience, SHORT_PATIENCE) : patience)) {
            e->state = CLIENT_LOST;
            return client_fail(VNTERR_CONNECTION_LOST, "the worker could not be reached again");
        }
        if (gone > SHORT_PATIENCE && !told) complain_away(e);
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

// Leaves the worker for a while.  Without a `look` of the caller's it stays away until the call has
// ended, and only asks in passing.
static int leave(client_env *e, double interval, double patience, bool look)
{
    int state = VNTCLIENT_RUNNING;
    int rc = keep_away(e, client_disconnect(e));
    if (e->state != CLIENT_AWAY) return rc;
    do {
        clock_sleep(interval);
        if (look || client_wants_end(e)) break;
        rc = persist(e, patience, visit, &state);
    } while (rc == 0 && state == VNTCLIENT_RUNNING);
    return e->state == CLIENT_AWAY ? persist(e, patience, come_back, &state) : rc;
}

// Between two absences: whether the solve has ended, what it needs, what the caller wants.
static int look_in(client_env *e, bool *ended, bool *ending, int (*look)(VNTENVptr env, void *data),
                   void *data)
{
    int state;
    int rc = client_control_test(e, &state);
    *ended = rc == 0 && state == VNTCLIENT_ENDED;
    if (rc != 0 || *ended) return rc;
    if (state == VNTCLIENT_PAUSED) rc = client_serve_pause(e, true);
    if (rc != 0 || *ending) return rc;
    *ending = (look != nullptr && look(e->handle, data) != 0) || client_wants_end(e);
    return *ending ? client_control_kill(e) : 0;
}

VNT_ENTRY int vntclient_joinresilient(VNTENVptr env, double interval, double patience,
                                      int (*look)(VNTENVptr env, void *data), void *data)
{
    client_env *e;
    int rc = client_started_find(env, &e);
    if (rc != 0) return rc;
    if (e->attending) return client_fail(VNTERR_SOLVING, "the environment waits for a call");
    e->attending = e->returning = true;
    bool ended = false, ending = false;
    while (rc == 0) {
        rc = look_in(e, &ended, &ending, look, data);
        if (rc != 0 || ended) break;
        rc = leave(e, ending ? 0 : interval, patience, look != nullptr || ending);
    }
    e->attending = e->returning = false;
    return rc == 0 ? client_started_finish(e) : rc;
}

} // namespace vnt
