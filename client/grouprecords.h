// grouprecords.h: what the files of the groups share: the records, and the functions between them.
//
// group.cc holds the members and the entry points, groupcall.cc carries out a call on all members,
// groupwait.cc collects their messages, grouprun.cc attends to calls that run in the background,
// and groupobjects.cc knows which objects of the members belong together.
//
// Threads: one at a time uses the group and all of its environments.

#pragma once

#include "client/environment.h"
#include "remote/codec/catalogue.h"
#include "remote/transport/group.h"

#include <algorithm>
#include <poll.h>

namespace vnt {

// An environment of the group, and its part in the call under way.
struct group_member {
    client_env *env;      // null: out
    int status;           // of the last group call
    bool asked;           // takes part in the call
    bool awaited;         // owes a message
    int64_t heard;        // the time of the last message to or from it
    bool ending;          // it has been asked to end the call
    const void *response; // the leader's stays valid
    uint64_t created;     // its value of the object that the call has created
};

// A problem or network that a group call created.
struct group_object {
    group_object *next;
    client_kind kind;

    // Its value in each member, 0 where it failed.
    uint64_t *remotes() { return reinterpret_cast<uint64_t *>(this + 1); }
    const uint64_t *remotes() const { return reinterpret_cast<const uint64_t *>(this + 1); }
};

} // namespace vnt

struct vntclient_group {
    size_t count;
    vnt::group_member *members;
    pollfd *polls;   // room for as many as there are members
    uint8_t *states; // likewise
    vnt::group_object *objects;
    bool attending;           // inside the wait for calls of all
    vnt::transport_group *io; // over the members that are in; null when that has changed
};

namespace vnt {

// Calls `visit` for each member that is in.  It may remove its member from the group.
template <class Visit> void each_member(vntclient_group *g, Visit visit)
{
    for (size_t i = 0; i < g->count; i++)
        if (g->members[i].env != nullptr) visit(g->members[i], i);
}

template <class Holds> bool any_member(const vntclient_group *g, Holds holds)
{
    return std::any_of(g->members, g->members + g->count,
                       [&](const group_member &m) { return m.env != nullptr && holds(m); });
}

template <class Visit> void each_field(const void *record, Visit visit)
{
    const message_layout *layout = catalogue_find(message_id(record));
    if (layout == nullptr) return;
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++)
        visit(*f);
}

// An object that the request names.
struct group_handle {
    uint16_t offset;
    client_kind kind;
    uint64_t leaders;           // its value in the leader
    const group_object *object; // null: the leader alone knows it
    char bytes[16];
};

// The leader's request.
struct group_request {
    void *record;
    uint32_t response_id;
    int nhandles;
    group_handle handles[4]; // an environment, a problem and a network at most
};

// The transport over all members, made when it is needed; false when it cannot be made.
bool group_io_make(vntclient_group *g);
void group_io_drop(vntclient_group *g);

// Which kind of object a field of a response brings; CLIENT_NONE for other fields.
client_kind group_kind_created(const message_field &f);

// The member's value of an object, 0 when it does not know it.
uint64_t group_value_of(const vntclient_group *g, const group_handle &h, size_t member);

// The record of the object that has this value in the leader; null when the leader alone knows it.
const group_object *group_object_find(const vntclient_group *g, client_kind kind, uint64_t leaders);

// Allocates the record of the object that the call creates, if it does.  That is done before the
// call: afterwards a failure would lose the object.
int group_object_prepare(const vntclient_group *g, uint32_t response_id, group_object **object);

// Makes handles for the created object in the members; the leader's is made when the call ends.
void group_object_keep(vntclient_group *g, group_object *object);

// Forgets an object that the call has freed; the leader's handle goes with the call's end.
void group_object_forget(vntclient_group *g, const group_request &r);
void group_object_drop(vntclient_group *g, const group_object *object);

// Collects an answer from every member that is awaited.
void group_answers_receive(vntclient_group *g, uint32_t response_id);

// Asks the members with running calls for their states and takes the answers that come within so
// many seconds.  The answer of a slower member is taken the next time.
void group_states_ask(vntclient_group *g, double seconds);

// Whether the member has a call in the background that has not ended.
bool group_member_runs(const group_member &m);

// Whether any member may want to end its call, so that it has to run in the background.
bool group_run_is_watched(vntclient_group *g, const void *request);

// Attends to a call that all members were asked to run, until it has ended everywhere, and collects
// the answers.
void group_run_attend(vntclient_group *g, client_env *leader, uint32_t response_id);

} // namespace vnt
