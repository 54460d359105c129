// io.h: bytes to and from descriptors, for the server, whose descriptors never block by themselves.
//
// Threads: any.  Errors: -1 and errno.

#pragma once

#include <cstdint>
#include <poll.h>
#include <sys/types.h>

namespace vnt {

// Milliseconds on a clock that nobody sets.
int64_t clock_ms(void);

// Waits for `events` on fd, for at most `milliseconds` (-1: for ever), whatever signals arrive.
// Returns 1, or 0 when the time was up.  POLLERR and POLLHUP count as ready.
int await_fd(int fd, short events, int milliseconds);

// The same, but -1 once `stopfd` is readable, also when fd is ready too.
int await_fd_or(int fd, short events, int stopfd, int milliseconds);

// Writes all n bytes, however long that takes.  Returns n, or -1 and errno: EIO for a write of
// none, ECANCELED once `stopfd` is readable (-1: there is none).
ssize_t safe_write(int fd, const void *bytes, size_t n, int stopfd);

// The local (peer 0) or remote (peer 1) address of a socket: "address:port",
// "unknown(family):port" for families without one, "unknown" when it cannot be had.
constexpr int SOCKNAM_SIZE = 64;
void socknam(int fd, int peer, char (&text)[SOCKNAM_SIZE]);

// What keeps a connection quick and notices a peer that has silently gone: no waiting for more
// to send, and probes after a minute of silence.
void socket_tune(int fd);

// Whether the other end owes an answer to bytes that were sent, and has not been heard of for so
// long.  The system finds idle connections dead by itself, but repeats what was sent for a quarter
// of an hour.  An end that lives and merely does not read is heard of.
bool socket_silent(int fd, int milliseconds);

// Whether the peer of a socket is still there, as far as can be seen without waiting.
bool socket_alive(int fd);

} // namespace vnt
