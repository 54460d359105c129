// trial.h: tries in a child process whether the libraries that a worker will need are there.
//
// A child: libraries run code when they are loaded, which belongs into a worker and not into its
// server, where it would stay.

#pragma once

#include <string>
#include <vector>

namespace vnt {

// Loads the libraries of -library=, looks up the user functions and those calls of the solver that
// every worker makes.  Throws a std::runtime_error that names what is missing.
void trial_run(const std::vector<std::string> &arguments, const std::string &program);

} // namespace vnt
