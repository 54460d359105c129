// commandline.h: what the command lines of these tools have in common.
//
// Threads: any.

#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace vnt {

// Lays out --help for 80 columns, without the lists of what each option excludes: the message about
// two that exclude each other names both.
void commandline_style(CLI::App &app);

// Checks of values; `expected` says what is accepted.  An unset variable in a script gives an empty
// value, which would count as a missing option.  Numbers lie within the limits, both included.
using value_check = std::function<std::string(const std::string &)>;
value_check value_nonempty(const char *expected);
value_check value_whole(const char *expected, int least);
value_check value_real(const char *expected, double least, double most);

} // namespace vnt
