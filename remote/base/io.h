// io.h: waits for descriptors and moves all bytes over them, in spite of interrupted calls, short
// writes and closed peers.
//
// Sockets never block here, whatever their mode.  Other descriptors must be in non-blocking mode
// for a deadline or a stop descriptor to have an effect.
//
// Threads: any.
//
// Errors: -1 and errno: ETIMEDOUT past the deadline, ECANCELED once the stop descriptor is
// readable, ECONNRESET at the end of the input, EPIPE (and no SIGPIPE, for sockets) without a
// reader.

#pragma once

#include "remote/base/clock.h"

#include <poll.h>
#include <sys/types.h>

namespace vnt {

// Waits for `events` on fd until the deadline.  Returns 1 for the events, an error or a hang-up, 0
// with ETIMEDOUT when the time is up, -1 with ECANCELED once `stop_fd` (-1: none) is readable, even
// if fd is ready too.
int io_wait(int fd, short events, int stop_fd, int64_t deadline);

// After a call that lacked memory: waits a moment.  Returns whether to call again: not once
// `stop_fd` is readable or the time is up.
bool io_shortage_wait(int stop_fd, int64_t deadline);

// Write and read all `n` bytes.  Return 0 or -1.
int io_write_all(int fd, const void *bytes, size_t n, int stop_fd, int64_t deadline);
int io_read_all(int fd, void *bytes, size_t n, int stop_fd, int64_t deadline);

} // namespace vnt
