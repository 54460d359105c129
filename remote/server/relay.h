// relay.h: what the two pumps of a worker have in common.
//
// Threads: the pump of the record that is passed.
// Errors: a failure between server and worker is logged and ends the worker; a client's is the
// caller's to judge.

#pragma once

#include "remote/server/children.h"

#include <sys/types.h>

namespace vnt {

// After one piece: there may be more, the source has ended, or the pump must end.
enum relay_result { RELAY_MORE, RELAY_END, RELAY_STOP };

// Waits until the process is known: a quick client's bytes must not be on the way before, because
// a failure on the way is answered by killing it.  False when there will be no process.
bool relay_awaitprocess(server_child *c);

// Something between server and worker broke.  That is the worker's end, unless it had come before.
void relay_fail(server_child *c, const char *call);

// The bytes that can be read from a pipe; 0 for -1.
int relay_countunread(int fd);

// Writes all of it, however long that takes; false when that fails or the pump must end.
bool relay_writeall(const server_child *c, int fd, const void *bytes, ssize_t n);

// Moves bytes from a socket to a pipe or back without looking at them; returns as splice() does.
ssize_t relay_move(int from, int to);

// Whether a read() or write() that failed may succeed later; waits a little when memory is short.
bool relay_mayrepeat(const server_child *c);

// Whether a connection is over in both directions; with POLLRDHUP in `events` at least in the
// client's.
bool relay_isover(int fd, short events);

} // namespace vnt
