// fdiogroup.h: a stream that copies everything written to it to several streams over descriptors.
//
// It has the writing operations and destroy.  A member that fails is marked and left out; the
// others get the whole message, and endoutmsg returns the error.  Each member takes bytes as fast
// as it can: a slow one delays the end of the message but not the other members.
//
// Ownership: the members are the caller's and outlive the group.
//
// Threads: one writes at a time.  Nothing else writes to the members meanwhile.
//
// Errors: 0 or a code; MESSAGE_IO with the errno of the first member that failed.

#pragma once

#include "remote/stream/descriptor.h"
#include "remote/stream/fdio.h"

namespace vnt {

enum member_state : uint8_t {
    MEMBER_ACTIVE = 0, // gets what is sent, and its answer is awaited
    MEMBER_FAILED = 1,
    MEMBER_FINISHED = 2, // has answered
};

struct fdiogroup_member {
    fdio *io;
    uint8_t state; // member_state
    size_t left;   // bytes still to send of what is being sent
    int64_t stall; // the deadline of a member that takes nothing
};

struct fdiogroup : fdio_writer {
    int64_t nmembers;
    fdiogroup_member *members;
    int error; // of the message under way, and its errno
    int error_errno;
};

// Errors: NOMEMORY.
int fdiogroup_create(fdiogroup **out, fdio *const *members, int64_t count);
int fdiogroup_destroy(stream *s);

void fdiogroup_getstate(const fdiogroup *g, uint8_t *states); // one byte per member
void fdiogroup_setstate(fdiogroup *g, const uint8_t *states);

// Waits for input of the active members and calls back for each that has some, until none is
// active.  `*done` is 1; the callback clears it to be called for this member again.
typedef int (*fdiogroup_callback)(void *arg, int64_t member, int *done);
int fdiogroup_recvone(fdiogroup *g, fdiogroup_callback callback, void *arg);

} // namespace vnt
