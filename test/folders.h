// folders.h: where the sources and the build lie, for tests that read models or start programs.
//
// Threads: any, also before main().

#pragma once

#include <string>

namespace vnt {

std::string source_path(const std::string &name); // such as "test/models/afiro.mps"
std::string build_path(const std::string &name);  // such as "bin/vntworker"

} // namespace vnt
