// solvercheck.h: tries whether workers could solve with a library.
//
// The library takes the place of libvanto.so in a process of its own, as it would in a worker: a
// crash or an endless loop ends that process alone.

#pragma once

#include <string>
#include <vector>

namespace vnt {

// Whether the arguments ask for a check: "--check-solver LIBRARY [SECONDS]", of at most so long.
bool solvercheck_asked(const std::vector<std::string> &arguments);

// Carries it out, and prints what it finds.  Returns the exit status: 0 if workers could serve
// with the library, otherwise 1.
int solvercheck_run(const std::vector<std::string> &arguments);

} // namespace vnt
