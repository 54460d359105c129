// process.h: what the system says of a worker's process.
//
// Threads: any.
// Errors: where there is no /proc a process counts as running, and its last request as unknown.

#pragma once

#include <sys/types.h>

namespace vnt {

// Whether a signal or a debugger has stopped the process.
bool process_is_stopped(pid_t id);

// The id of the last request of a process, which may have ended and must not be collected yet; 0 if
// it is not known.  Workers append it to their process's name.
unsigned long process_find_request(pid_t id);

} // namespace vnt
