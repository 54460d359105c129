// handshake.h: the handshake at the start of a connection, for both sides.
//
//   client    action 4; with ACTION_RECONNECT the worker's id 8
//   server    status 2; with HANDSHAKE_OK the worker's id 8
//
// Actions and statuses are big-endian.  An id is sent in the server's byte order; clients keep its
// bytes and send them back.
//
// Threads: any.

#pragma once

#include <cstddef>
#include <cstdint>

namespace vnt {

enum handshake_action : uint32_t { ACTION_NEW = 1, ACTION_RECONNECT = 2 };

enum handshake_status : uint16_t {
    HANDSHAKE_OK = 0,
    HANDSHAKE_NORESOURCES = 1,
    HANDSHAKE_NOFORK = 2,
    HANDSHAKE_NOID = 3,
    HANDSHAKE_NOTPARKED = 4,
    HANDSHAKE_NOTFOUND = 5,
    HANDSHAKE_NOACTION = 6
};

// Bytes of the parts.
constexpr size_t HANDSHAKE_ACTION = 4;
constexpr size_t HANDSHAKE_STATUS = 2;
constexpr size_t HANDSHAKE_ID = 8;

// The client's request.  Returns its size in bytes: an id follows ACTION_RECONNECT only.
typedef unsigned char handshake_request[HANDSHAKE_ACTION + HANDSHAKE_ID];
size_t handshake_request_put(handshake_request &to, uint32_t action, int64_t worker_id);
uint32_t handshake_action_get(const unsigned char *from);
int64_t handshake_id_get(const unsigned char *from);

// The server's answer.  Returns its size in bytes: an id follows HANDSHAKE_OK only.
typedef unsigned char handshake_answer[HANDSHAKE_STATUS + HANDSHAKE_ID];
size_t handshake_answer_put(handshake_answer &to, uint16_t status, int64_t worker_id);

// The client's side, over a connected socket: asks for a new worker or for worker `*worker_id`, and
// stores the id in the answer.  The descriptor stays the caller's.
// Errors: MESSAGE_INVALID for another action, MESSAGE_IO and errno when sending or receiving failed
// or took beyond the deadline, MESSAGE_NOCONNECTION for id 0, or the server's status, above 0.
int handshake_ask(int fd, uint32_t action, int64_t *worker_id, int64_t deadline);

} // namespace vnt
