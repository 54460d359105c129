// child.h: the worker's side of the pipes to its server: four ends and an id.
//
// The server has forked the process and holds the other ends: what a client sends arrives at infd,
// what is written to outfd reaches the client, also after another client has replaced it.
//
// Threads: the record is set before the first request and read by the thread that serves one.

#pragma once

#include <cstdint>

namespace vnt {

struct worker_child {
    int32_t infd;       // requests; this and the next are -1 once a transport has taken them
    int32_t outfd;      // responses
    int32_t status_fd;  // four bytes to the server: 0 at a regular end, the id when parked
    int32_t control_fd; // four bytes from the server: the id when a client is back, 0 at its stop
    int32_t id;         // process id
};

// The record of this process; null if it is no worker.
extern worker_child *workerchild;

// Tells the server that the worker is parked (`word` is its id) or at its regular end (0).  False
// with errno set if that failed.
bool child_report(const worker_child *child, int32_t word);

} // namespace vnt
