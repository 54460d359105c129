// pumps.h: the two threads that pass bytes between a client's socket and its worker's pipes.
//
// So the worker outlives its client's socket: after a disconnect request the to-child pump waits
// for another client, whose socket replaces the old one.
//
// Bytes are moved by splice(), unless they are logged or splice() fails.
//
// Threads: one of each kind per record; they end when the worker ends or the record is stopped.

#pragma once

namespace vnt {

// Thread functions; the argument is the server_child.
void *pump_tochild(void *child);
void *pump_fromchild(void *child);

} // namespace vnt
