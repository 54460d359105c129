// relay.h: functions that both pumps of a worker use.
//
// Threads: the pump of the record that is passed.
// Errors: a failure between server and worker is logged and ends the worker; the caller handles a
// failure of the client's connection.

#pragma once

#include "remote/server/children.h"

#include <sys/types.h>

namespace vnt {

// The outcome of passing on one piece: there may be more, the source has ended, or the pump must
// end.
enum relay_result { RELAY_MORE, RELAY_END, RELAY_STOP };

// How many bytes are read at once where they are copied.
constexpr size_t RELAY_PIECE = 4096;

// Waits until the process exists: no bytes may move before, because a failure is handled by killing
// it.  Returns false if there will be no process.
bool relay_await_process(server_child *c);

// The last that a pump does.
void relay_pump_end(server_child *c);

// Handles a failure between server and worker: kills the worker unless it has ended.
void relay_fail(server_child *c, const char *call);

// How many bytes can be read from a pipe; 0 for -1.
int relay_count_unread(int fd);

// Writes all bytes, without a deadline.  Returns false when that fails or the pump must end.
bool relay_write_all(const server_child *c, int fd, const void *bytes, ssize_t n);

// Counts bytes that have moved, in a counter that only the calling pump writes.
void relay_count(server_child *c, std::atomic<uint64_t> *counter, ssize_t n);

// Moves bytes from a socket to a pipe or back.  Returns what splice() returns.
ssize_t relay_move(int from, int to);

// Whether a read() or write() that failed may succeed later; waits a little when memory is short.
bool relay_may_repeat(const server_child *c);

// Whether a connection has ended in both directions, or, with POLLRDHUP in `events`, at least in
// the direction from the client.
bool relay_is_over(int fd, short events);

} // namespace vnt
