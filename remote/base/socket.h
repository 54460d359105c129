// socket.h: names, tuning and signs of life of sockets.
//
// Threads: any.

#pragma once

namespace vnt {

// The local (peer 0) or remote (peer 1) address of a socket: "address:port",
// "unknown(family):port" for families without one, "unknown" when it cannot be had.
constexpr int SOCKNAM_SIZE = 64;
void socknam(int fd, int peer, char (&text)[SOCKNAM_SIZE]);

// Sends small messages at once, and probes a peer that has been silent for a minute.
void socket_tune(int fd);

// Whether the other end owes an answer to bytes that were sent, and has not been heard of for so
// long.  The system finds idle connections dead by itself, but repeats what was sent for a quarter
// of an hour.  An end that lives and merely does not read is heard of.
bool socket_silent(int fd, int milliseconds);

// Whether the peer of a socket is still there, as far as can be seen without waiting.
bool socket_alive(int fd);

} // namespace vnt
