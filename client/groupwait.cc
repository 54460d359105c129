#include "client/grouprecords.h"

#include "client/connection.h"
#include "client/control.h"
#include "remote/base/clock.h"
#include "remote/stream/fdio.h"

namespace vnt {

// Drops the members that have been silent for their read time-out.  Returns the seconds until the
// next one would be dropped; negative: never.
static double drop_silent(vntclient_group *g)
{
    double shortest = -1;
    each_member(g, [&](group_member &m, size_t) {
        if (!m.awaited || m.env->readtimeout < 0) return;
        double left = m.env->readtimeout / 1000.0 - clock_elapsed(m.heard);
        if (left <= 0)
            client_lose(m.env, "no answer within the read time-out");
        else if (shortest < 0 || left < shortest)
            shortest = left;
    });
    return shortest;
}

// Whether bytes were read together with an earlier message.
static bool read_ahead(const group_member &m)
{
    return static_cast<const fdio *>(m.env->io->io)->preread > 0;
}

static bool is_awaited(const group_member &m)
{
    return m.awaited;
}

// Waits up to so many seconds, negative for ever, until an awaited member has input.
static void await_input(vntclient_group *g, double seconds)
{
    double limit = drop_silent(g);
    if (!any_member(g, is_awaited)) return;
    if (limit < 0 || (seconds >= 0 && seconds < limit)) limit = seconds;
    for (size_t i = 0; i < g->count; i++) {
        const group_member &m = g->members[i];
        bool awaited = m.env != nullptr && m.awaited;
        g->polls[i] = {awaited ? m.env->io->infd : -1, POLLIN, 0};
        if (awaited && read_ahead(m)) limit = 0;
    }
    int ms = limit < 0 ? -1 : static_cast<int>(std::min(limit * 1000 + 0.999, 1e9));
    // Interrupted or short of memory, this reports no input; the next round finds it.
    if (poll(g->polls, g->count, ms) < 0)
        for (size_t i = 0; i < g->count; i++)
            g->polls[i].revents = 0;
}

// Receives one message of each member that has input; `take` gets the answers.  Handlers that run
// meanwhile find every member busy.
template <class Take> static void receive_ready(vntclient_group *g, Take take)
{
    each_member(g, [](group_member &m, size_t) { m.env->receiving = true; });
    each_member(g, [&](group_member &m, size_t i) {
        if (!m.awaited || (g->polls[i].revents == 0 && !read_ahead(m))) return;
        const void *message;
        m.heard = clock_now();
        if (client_receive(m.env, &message) != 0) return;
        m.env->receiving = true; // dispatching has cleared it
        if (message != nullptr) take(m, message);
    });
    each_member(g, [](group_member &m, size_t) { m.env->receiving = false; });
}

static int status_of(const void *response)
{
    int status = 0;
    each_field(response, [&](const message_field &f) {
        if (strcmp(f.name, "status") == 0 || strcmp(f.name, "status_p") == 0)
            status = field_at<int32_t>(response, f.offset);
    });
    return status;
}

static void answer_take(group_member *m, const void *message, uint32_t response_id)
{
    m->awaited = false;
    if (message_id(message) == VNTMESSAGEID_NAK) {
        m->status = client_refusal(message);
        return;
    }
    if (message_id(message) != response_id) return; // lose_unanswered() drops the member
    m->response = message;
    m->status = status_of(message);
    each_field(message, [&](const message_field &f) {
        if (group_kind_created(f) != CLIENT_NONE)
            m->created = client_value_take(&field_at<message_array>(message, f.offset));
    });
}

void group_answers_receive(vntclient_group *g, uint32_t response_id)
{
    each_member(g, [](group_member &m, size_t) { m.heard = clock_now(); });
    while (any_member(g, is_awaited)) {
        await_input(g, -1);
        receive_ready(g, [response_id](group_member &m, const void *message) {
            answer_take(&m, message, response_id);
        });
    }
}

void group_states_ask(vntclient_group *g, double seconds)
{
    each_member(g, [](group_member &m, size_t) {
        m.awaited = false;
        if (!group_member_runs(m)) return;
        bool asks = m.env->owed == 0;
        if (asks) m.heard = clock_now();
        m.awaited = !asks || client_control_post_test(m.env) == 0;
    });
    int64_t begin = clock_now();
    double left = seconds;
    do {
        await_input(g, std::max(left, 0.0));
        receive_ready(g, [](group_member &m, const void *) {
            client_lose(m.env, "the worker's answers are out of step");
        });
        each_member(g, [](group_member &m, size_t) { m.awaited = m.awaited && m.env->owed > 0; });
        left = seconds - clock_elapsed(begin);
    } while (left > 0 && any_member(g, is_awaited));
}

} // namespace vnt
