// group.h: sends one message to several descriptor transports at once and collects an answer from
// each.
//
// Ownership: a group owns its codecs and its stream.  The member transports are the caller's and
// outlive the group; none of them sends by itself while the group sends.
//
// Threads: sends are serialised by the group's lock.  Receiving goes through the members and takes
// their receive locks; one thread at a time receives through the group, and no asynchronous input
// is armed on a member meanwhile.
//
// Errors: 0 or a code.  A member that fails is marked and left out from then on; the others go on,
// and the first failure is returned.  A member that failed in a send has sent part of a message: it
// can only be destroyed.

#pragma once

#include "remote/stream/fdiogroup.h"
#include "remote/transport/transport.h"

namespace vnt {

constexpr uint32_t TRANSPORTGROUP_TAG = 0x01020305;

// Called for each message.  `*done` is 1; the callback sets it to 0 to get another message from
// this member.  The message belongs to the member until its next receive.  A nonzero result marks
// the member as failed.
typedef int (*transport_group_callback)(transport *member, void *message, void *arg, int *done);

struct transport_group;

// In slot order.
struct transport_group_operations {
    int (*sendmsg)(transport_group *g, const void *message);
    int (*recvone)(transport_group *g, transport_group_callback callback, void *arg);
    void (*getstate)(transport_group *g, uint8_t *states);       // one byte per member
    void (*setstate)(transport_group *g, const uint8_t *states); // likewise
    void (*destroy)(transport_group *g);                         // null is fine
};

struct transport_group {
    transport_group_operations ops;
    uint32_t tag;
    uint32_t nmembers;
    transport **members;
    codec **codecs;
    int64_t ncodecs;
    fdiogroup *io;
    pthread_mutex_t sendlock;
};

// Makes a group of descriptor transports whose codecs are alike.
// Errors: INVALID for no members, a member of another kind or other codecs, NOMEMORY, LOCK, or the
// code of a codec that could not be made.
int fdtransport_mkgroup(transport_group **out, transport *const *members, int64_t count);

int fdtransportgroup_sendmsg(transport_group *g, const void *message);

// Waits for one message from each active member, or for as many as the callback asks.
int fdtransportgroup_recvone(transport_group *g, transport_group_callback callback, void *arg);

void fdtransportgroup_getstate(transport_group *g, uint8_t *states);
void fdtransportgroup_setstate(transport_group *g, const uint8_t *states);
void fdtransportgroup_destroy(transport_group *g);

} // namespace vnt
