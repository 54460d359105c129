// pumps.h: the two threads that stand between a client's socket and its worker's pipes.
//
// The worker thus outlives its client's socket: when the client has left by a disconnect request,
// the to-child pump waits for another client and puts its socket in the place of the old one.
//
// Bytes are moved by splice(), unless the log has lines for them or splice() fails.
//
// Threads: one of each kind per record; they end when the worker ends or the record is stopped.

#pragma once

namespace vnt {

// Thread functions; the argument is the server_child.
void *pump_tochild(void *child);
void *pump_fromchild(void *child);

} // namespace vnt
