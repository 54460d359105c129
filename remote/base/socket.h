// socket.h: names, tuning and signs of life of sockets.
//
// Threads: any.

#pragma once

#include <sys/socket.h>

namespace vnt {

constexpr int SOCKNAM_SIZE = 64;

// "address:port", or "unknown(family):-1" for families other than IPv4 and IPv6.
void address_name(const sockaddr_storage *address, char (&text)[SOCKNAM_SIZE]);

// The same for the local (peer 0) or remote (peer 1) address of a socket; "unknown" when the system
// does not say.
void socknam(int fd, int peer, char (&text)[SOCKNAM_SIZE]);

// Sends small messages at once, and ends a connection whose peer does not answer for 45 s when
// nothing is under way.
void socket_tune(int fd);

// Shuts the socket down, and returns true, when its peer owes an answer to bytes or probes that
// were sent at least twice, and has not been heard of for SOCKET_SILENCE.  The system finds idle
// connections dead by itself, but repeats what was sent for a quarter of an hour.  A peer that
// lives and does not read answers the probes of its closed window, and is never dropped; those come
// as rarely as every two minutes, hence the count.  Whoever waits for a socket asks this at every
// SOCKET_LOOK.  Both are milliseconds.
constexpr int SOCKET_SILENCE = 45000;
constexpr int SOCKET_LOOK = 5000;
bool socket_dropsilent(int fd);

// Whether the peer of a socket is still there, as far as can be seen without waiting.
bool socket_alive(int fd);

} // namespace vnt
