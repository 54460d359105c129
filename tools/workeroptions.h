// workeroptions.h: checks the command line of vntworker before the server starts.
//
// The server hands words that it does not know to every worker, which ends at a wrong one.  So a
// server with a mistyped option would listen, and all its workers would fail: its start is refused
// instead.

#pragma once

#include <string>
#include <vector>

namespace vnt {

// Throws a std::runtime_error whose text names the first wrong argument and what is accepted.
// The trials of libraries take place in a child process: nothing stays loaded.
void workeroptions_check(const std::vector<std::string> &arguments, const std::string &program);

// The full help text.
std::string workeroptions_help();

} // namespace vnt
