// child.h: the worker process as its own code sees it: four pipe ends and an id.
//
// The server has forked the process and serves the other ends: what a client sends arrives at
// infd, what is written to outfd reaches the client, also when a new client has taken the place
// of the old one.

#pragma once

#include <cstdint>

namespace vnt {

struct worker_child {
    int32_t infd;      // requests; this and the next are -1 once a transport has taken them
    int32_t outfd;     // responses
    int32_t statusfd;  // four bytes to the server: 0 at a regular end, the id when parked
    int32_t controlfd; // four bytes from the server: the id when a client is back, 0 at its stop
    int32_t id;        // process id
};

// The process's own record, null where no worker runs.
extern worker_child *workerchild;

// The body of a worker: greets the client, serves requests until a terminate message arrives.
// Every failure is logged and ends the process with abort().  argv is the server's, less the
// server's own options.
void tcpipworker(worker_child *child, int argc, char **argv);

} // namespace vnt
