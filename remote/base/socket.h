// socket.h: names, tuning and signs of life of sockets.
//
// Threads: any.

#pragma once

#include <sys/socket.h>
#include <sys/un.h>

namespace vnt {

constexpr int SOCKNAM_SIZE = 160;

// "address:port" or "unix:path", or "unknown(family):-1" for what has no such name.
void address_name(const sockaddr_storage *address, char (&text)[SOCKNAM_SIZE]);

// The same for the local (peer 0) or remote (peer 1) address of a socket; "unknown" when the system
// does not say.  A client on a Unix-domain socket has no name: it is "unix:path,uid=1000,pid=4242".
void socknam(int fd, int peer, char (&text)[SOCKNAM_SIZE]);

// The address of a Unix-domain socket at that path; false and ENAMETOOLONG when it does not fit.
bool path_address(const char *path, sockaddr_un *address);

// Makes small messages leave at once, and an idle connection end when its peer has not answered
// probes for 45 s.
void socket_tune(int fd);

// Shuts the socket down and returns true if its peer has not acknowledged bytes or probes that were
// sent at least twice, and has been silent for SOCKET_SILENCE.  The system detects the end of idle
// connections by itself, but retransmits for a quarter of an hour.  A living peer that does not
// read acknowledges window probes and is never dropped; these can be two minutes apart, hence the
// count.  A thread that waits for a socket calls this every SOCKET_LOOK, or another one for it.
// Both are milliseconds.
constexpr int SOCKET_SILENCE = 45000;
constexpr int SOCKET_LOOK = 5000;
bool socket_drop_silent(int fd);

// Whether the peer of a socket is still there, as far as can be seen without waiting.
bool socket_alive(int fd);

} // namespace vnt
