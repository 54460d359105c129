// socket.h: names, tuning and signs of life of sockets.
//
// Threads: any.

#pragma once

namespace vnt {

// The local (peer 0) or remote (peer 1) address of a socket: "address:port",
// "unknown(family):port" for families without one, "unknown" when it cannot be had.
constexpr int SOCKNAM_SIZE = 64;
void socknam(int fd, int peer, char (&text)[SOCKNAM_SIZE]);

// Sends small messages at once, and ends a connection whose peer does not answer for 45 s when
// nothing is under way.
void socket_tune(int fd);

// Whether the peer owes an answer to bytes or probes that were sent at least twice, and has not
// been heard of for so long.  The system finds idle connections dead by itself, but repeats what
// was sent for a quarter of an hour.  A peer that lives and does not read answers the probes of its
// closed window; those come as rarely as every two minutes, hence the count.
bool socket_silent(int fd, int milliseconds);

// Whether the peer of a socket is still there, as far as can be seen without waiting.
bool socket_alive(int fd);

} // namespace vnt
