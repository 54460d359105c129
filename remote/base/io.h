// io.h: waiting for descriptors and moving all bytes over them, interrupted calls, short writes and
// closed peers included.
//
// Sockets never block here, whatever their mode.  Other descriptors that must heed a deadline or a
// stop descriptor are in non-blocking mode.
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

// Waits for `events` on fd, at most until the deadline.  Returns 1 when they, an error or a
// hang-up are there, and 0, with ETIMEDOUT in errno, when the time is up.  -1 with ECANCELED once
// `stopfd` (-1: there is none) is readable, even if fd is ready too.
int io_wait(int fd, short events, int stopfd, int64_t deadline);

// Write and read all `n` bytes.  Return 0 or -1.
int io_writeall(int fd, const void *bytes, size_t n, int stopfd, int64_t deadline);
int io_readall(int fd, void *bytes, size_t n, int stopfd, int64_t deadline);

} // namespace vnt
