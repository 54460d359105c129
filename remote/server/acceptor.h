// acceptor.h: listens, accepts connections and serves their handshakes.
//
// Ownership: the listening socket is the server's; a connection is this module's until the server
// takes it.
// Threads: the main thread alone.
// Errors: every failure is logged.

#pragma once

namespace vnt {

struct server;

// Listens at the address of the options.  Returns 0 or -1.
int acceptor_open(server *s);

// Logs the address at which clients can connect.
void acceptor_announce(const server *s);

// Accepts and serves connections, all at once, until the server is to end.  Returns false when
// accept() has failed for good.
bool acceptor_serve(server *s);

} // namespace vnt
