// worker.h: the main function of a worker process.
//
// Ownership: the child record is the caller's; the transport takes its infd and outfd.
//
// Threads: the process's main thread.
//
// Errors: every failure is logged and ends the process with abort().

#pragma once

#include "remote/handler/child.h"

namespace vnt {

// Greets the client and serves requests until a terminate message arrives.  argv is the server's
// without the server's own options.
void tcpipworker(worker_child *child, int argc, char **argv);

} // namespace vnt
