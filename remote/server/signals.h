// signals.h: what SIGHUP, SIGINT and SIGTERM, the stop signals, mean to the server, and to a
// worker.
//
// The stop signals and SIGCHLD are blocked in all threads of the server.  The main thread opens
// itself to the stop signals while it polls, so that they arrive nowhere else.
//
// Threads: the main thread alone.

#pragma once

#include <csignal>

namespace vnt {

struct server;

// Blocks them, before any thread is started, and gives back the mask that was.
void signals_block(sigset_t *before);

// From now on a stop signal sets the server's stop flag and wakes the reaper.  SIGPIPE is ignored.
void signals_catch(server *s);

// The calling thread's mask without the stop signals.
void signals_openmask(sigset_t *mask);

// In a new worker: the signals as a fresh process has them, but for SIGPIPE: a server that has
// gone is an error of its writes.
void signals_reset(void);

} // namespace vnt
