// logline.h: for tests: a line as this process logs it.

#pragma once

#include <cstdio>
#include <string>
#include <unistd.h>

namespace vnt {

inline std::string logged_line(int level, const std::string &text)
{
    char prefix[24];
    snprintf(prefix, sizeof prefix, "[%10d:%04d] ", getpid(), level);
    return prefix + text + "\n";
}

} // namespace vnt
