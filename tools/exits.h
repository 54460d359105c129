// exits.h: how vntsolve ends.
//
// What goes wrong is thrown as a `failure` and becomes one line on standard error and the exit
// status.

#pragma once

#include <string>

namespace vnt {

enum exit_status : int {
#define EXIT(name, status, text) EXIT_##name = status,
#include "tools/exits.def"
};

struct failure {
    exit_status status;
    std::string message;
};

// The statuses and their meanings, one a line, for --help.
std::string exits_help();

} // namespace vnt
