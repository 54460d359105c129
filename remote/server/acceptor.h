// acceptor.h: the listening socket, and serving the connections that come through it.
//
// Ownership: the listening socket is the server's; a connection is this module's until the server
// takes it.
// Threads: the main thread alone.
// Errors: what fails is logged.

#pragma once

namespace vnt {

struct server;

// Listens where the options say.  Returns 0, or -1 when that failed.
int acceptor_open(server *s);

// Announces the address on which clients may come.
void acceptor_announce(const server *s);

// Accepts and serves connections, without one keeping another waiting, until the server is to end.
// Returns false when accept() failed for good.
bool acceptor_serve(server *s);

} // namespace vnt
