#include "client/visit.h"

#include "client/async.h"
#include "client/connection.h"
#include "client/detach.h"
#include "client/messages.h"
#include "remote/base/clock.h"
#include "remote/base/io.h"
#include "remote/stream/writer.h"

#include <algorithm>
#include <cstdio>

namespace vnt {

// How long a worker may be out of reach, in seconds, before the caller hears of it, and before one
// who wants to end waits no longer.
static constexpr double SHORT_PATIENCE = 2;

static void complain_away(client_env *e)
{
    char text[600];
    snprintf(text, sizeof text, "%s; it is tried again\n", vntclient_errortext());
    client_complain(e, text);
}

static int fail_away(client_env *e)
{
    char reason[400];
    snprintf(reason, sizeof reason, "%s", vntclient_errortext());
    e->state = CLIENT_LOST;
    return client_fail(VNTERR_CONNECTION_LOST, "the worker could not be reached again: %s", reason);
}

// Tries until it succeeds, the worker is gone or the patience is over.
template <class Step> static int persist(client_env *e, double patience, Step step)
{
    int64_t begin = clock_now();
    bool told = false;
    for (;;) {
        int rc = step();
        if (rc == 0 || e->state != CLIENT_AWAY) return rc;
        double gone = clock_elapsed(begin);
        if (gone > (client_wants_end(e) ? std::min(patience, SHORT_PATIENCE) : patience))
            return fail_away(e);
        if (gone > SHORT_PATIENCE && !told) complain_away(e);
        told = gone > SHORT_PATIENCE;
        clock_sleep(0.25);
    }
}

// One attempt: `exchange` follows the arrival.  What is lost after that may be found again.
template <class Exchange> static int come(client_env *e, Exchange exchange)
{
    const bool returning = e->returning;
    e->returning = true;
    int rc = client_arrive(e);
    if (rc == 0) {
        rc = exchange();
        if (e->state == CLIENT_LOST) e->state = CLIENT_AWAY;
    }
    e->returning = returning;
    return rc;
}

// An absence begins.  The last visit has left the worker already.
static void step_out(client_env *e)
{
    e->visiting = false;
    if (e->io != nullptr) client_depart(e);
}

static void complain_silent(client_env *e)
{
    char text[400];
    snprintf(text, sizeof text,
             "no answer yet from the worker at %s: it may be suspended, or another client has it\n",
             e->place);
    client_complain(e, text);
}

// How long a worker may be silent, in seconds.
static double silence_limit(client_env *e)
{
    if (client_wants_end(e)) return SHORT_PATIENCE;
    const int limit = client_connect_timeout;
    return limit < 0 ? VNTCLIENT_NONE : std::max(e->patience, limit / 1000.0);
}

// Awaits the worker's first word, unless a read time-out does so.  A suspended worker gives none,
// nor does one that another client has.
static int word_await(client_env *e)
{
    if (e->readtimeout >= 0) return 0;
    const int64_t begin = clock_now();
    bool told = false;
    while (io_wait(e->io->infd, POLLIN, -1, clock_after_ms(100)) == 0) {
        const double gone = clock_elapsed(begin);
        if (gone > silence_limit(e)) return client_give_up(e);
        if (gone > SHORT_PATIENCE && !told) complain_silent(e);
        told = gone > SHORT_PATIENCE;
    }
    return 0;
}

// Sends one or two requests between coming and leaving, and awaits the answer to the coming.
static int speak(client_env *e, const void *first, const void *second)
{
    vntmsg_RECONNECT_REQ hello = {};
    vntmsg_DISCONNECT_REQ farewell = {};
    hello.messageid = VNTMESSAGEID_RECONNECT_REQ;
    farewell.messageid = VNTMESSAGEID_DISCONNECT_REQ;
    writer_hold(e->io->io, true);
    int rc = client_send(e, &hello);
    if (rc == 0) rc = client_send(e, first);
    if (rc == 0 && second != nullptr) rc = client_send(e, second);
    if (rc != 0) return rc;
    writer_hold(e->io->io, false);
    rc = client_send(e, &farewell);
    if (rc == 0) rc = word_await(e);
    const void *answer;
    return rc == 0 ? client_await(e, VNTMESSAGEID_RECONNECT_RES, &answer) : rc;
}

// The answer is good until the next exchange, so the connection stays until then.
static int visit(client_env *e, const void *question, uint32_t response_id, const void **response)
{
    return come(e, [&] {
        int rc = speak(e, question, nullptr);
        return rc == 0 ? client_await(e, response_id, response) : rc;
    });
}

int client_visit(client_env *e, const void *question, uint32_t response_id, const void **response)
{
    step_out(e);
    int rc = persist(e, e->patience, [&] { return visit(e, question, response_id, response); });
    e->visiting = e->state == CLIENT_OPEN;
    return rc;
}

static constexpr vntmsg_ASYNCTEST_REQ test = {nullptr, VNTMESSAGEID_ASYNCTEST_REQ, 0};

int client_visits_begin(client_env *e, double patience)
{
    const void *answer;
    e->patience = patience;
    int rc = visit(e, &test, VNTMESSAGEID_ASYNCTEST_RES, &answer);
    e->visiting = rc == 0;
    return rc;
}

int client_part(client_env *e, double patience)
{
    e->patience = patience;
    if (e->visiting) return 0;
    int rc = client_disconnect(e);
    if (e->state == CLIENT_OPEN) return rc;
    e->state = CLIENT_AWAY; // the connection that broke may have carried the request all the same
    const void *answer;
    return client_visit(e, &test, VNTMESSAGEID_ASYNCTEST_RES, &answer);
}

// A worker without a call must not be asked for a result, which would end it.  So a small call goes
// ahead, which a worker that has one refuses.
static int ask_result(client_env *e, const void **response)
{
    const client_small_call small(e);
    vntmsg_GETRES request = {};
    request.messageid = VNTMESSAGEID_GETRES;
    const void *answer;
    int rc = speak(e, &small.message, &request);
    if (rc != 0) return rc;
    const bool none = client_await(e, VNTMESSAGEID_ACK, &answer) == 0;
    if (e->state != CLIENT_OPEN) return VNTERR_CONNECTION_LOST;
    rc = client_await(e, none ? +VNTMESSAGEID_GETINTPARAM_RES : e->started.response, response);
    if (none) *response = nullptr;
    return rc;
}

int client_visit_result(client_env *e, const void **response)
{
    step_out(e);
    int rc =
        persist(e, e->patience, [&] { return come(e, [&] { return ask_result(e, response); }); });
    e->visiting = e->state == CLIENT_OPEN;
    if (e->visiting) e->started.running = false;
    return rc;
}

int client_stay(client_env *e, const void *message)
{
    const uint32_t id = message != nullptr ? message_id(message) : 0;
    const bool ends = id == VNTMESSAGEID_FREEPROB_REQ || id == VNTMESSAGEID_NETFREEPROB_REQ ||
                      id == VNTMESSAGEID_CLOSEVANTO_REQ;
    step_out(e);
    return persist(e, ends ? std::min(e->patience, SHORT_PATIENCE) : e->patience,
                   [&] { return come(e, [&] { return client_greet(e); }); });
}

} // namespace vnt
