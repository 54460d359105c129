#include "client/grouprecords.h"

#include "client/async.h"
#include "client/connection.h"
#include "client/control.h"
#include "remote/base/clock.h"
#include "remote/base/entry.h"
#include "remote/calls/flags.h"

namespace vnt {

bool group_member_runs(const group_member &m)
{
    return m.env->started.running && m.env->started.state != VNTCLIENT_ENDED;
}

// The pace of the looks, as in the wait for a single call.
static double pace(int64_t begin)
{
    return std::clamp(clock_elapsed(begin) / 16, 0.0005, 0.02);
}

bool group_run_is_watched(vntclient_group *g, const void *request)
{
    return any_member(g, [request](const group_member &m) {
        return m.asked && client_call_is_watched(m.env, request);
    });
}

// The members that have taken up the call run it from now on.
static void run_begin(vntclient_group *g, uint32_t response_id)
{
    g->attending = true;
    each_member(g, [response_id](group_member &m, size_t) {
        if (m.response == nullptr) return;
        m.env->started = {};
        m.env->started.running = true;
        m.env->started.state = VNTCLIENT_RUNNING;
        m.env->started.response = response_id;
        m.env->limits_set = clock_now();
        m.env->attending = true;
        if (m.env->pause_func != nullptr) client_control_limits(m.env, {1, VNTCLIENT_NONE});
    });
}

// The leader ends the call for all members, another member only for itself.
static void members_serve(vntclient_group *g, bool leader_ends)
{
    each_member(g, [leader_ends](group_member &m, size_t) {
        if (!group_member_runs(m)) return;
        if (!m.ending && (leader_ends || client_wants_end(m.env))) {
            m.ending = true;
            client_control_post_kill(m.env);
        } else if (m.env->started.state == VNTCLIENT_PAUSED) {
            m.env->started.state = VNTCLIENT_RUNNING;
            client_serve_pause(m.env, false);
        }
    });
}

// Asks for the answers of calls that have ended.
static void run_end(vntclient_group *g)
{
    each_member(g, [](group_member &m, size_t) {
        m.awaited = m.env->attending && m.env->started.running;
        if (!m.awaited) return;
        if (m.env->pause_func != nullptr) client_control_limits(m.env, m.env->limits);
        if (m.env != nullptr) client_control_get_result(m.env); // else lost just now
    });
    each_member(g, [](group_member &m, size_t) { m.env->attending = false; });
    g->attending = false;
}

void group_run_attend(vntclient_group *g, client_env *leader, uint32_t response_id)
{
    int64_t begin = clock_now();
    run_begin(g, response_id);
    each_member(g, [](group_member &m, size_t) {
        m.status = m.response != nullptr ? VNTERR_CONNECTION_LOST : m.status;
        m.response = nullptr;
    });
    while (any_member(g, group_member_runs)) {
        members_serve(g, client_wants_end(leader));
        int64_t round = clock_now();
        double seconds = pace(begin);
        group_states_ask(g, seconds);
        clock_sleep(seconds - clock_elapsed(round));
    }
    run_end(g);
    group_answers_receive(g, response_id);
}

// The member whose call has ended, or was lost since it was marked as asked; -1 for none.
static int ended(const vntclient_group *g)
{
    for (size_t i = 0; i < g->count; i++) {
        const group_member &m = g->members[i];
        if (m.asked && (m.env == nullptr || !group_member_runs(m))) return static_cast<int>(i);
    }
    return -1;
}

VNT_ENTRY int vntclient_group_wait(VNTCLIENTGROUPptr group, int milliseconds, int *member_p)
{
    static constexpr double LEAST = 0.02; // seconds that the members have to answer a look
    if (group == nullptr || member_p == nullptr)
        return client_fail(VNTERR_NULL_POINTER, "an argument is missing");
    for (size_t i = 0; i < group->count; i++) {
        group_member &m = group->members[i];
        m.asked = m.env != nullptr && m.env->started.running;
    }
    double limit = std::max(milliseconds / 1000.0, LEAST);
    int64_t begin = clock_now();
    while ((*member_p = ended(group)) < 0 && any_member(group, group_member_runs)) {
        double left = milliseconds < 0 ? LEAST : limit - clock_elapsed(begin);
        if (left <= 0) break;
        int64_t round = clock_now();
        double seconds = std::min(left, pace(begin));
        group_states_ask(group, seconds);
        if (ended(group) < 0) clock_sleep(seconds - clock_elapsed(round));
    }
    return 0;
}

} // namespace vnt
