// folders.h: where the sources and the build lie, for tests that read models or start programs.
//
// Threads: any, also before main().

#pragma once

#include <filesystem>
#include <string>
#include <unistd.h>

namespace vnt {

std::string source_path(const std::string &name); // such as "test/models/afiro.mps"
std::string build_path(const std::string &name);  // such as "bin/vntworker"

// A folder of the test's own, in which it works.
struct working_folder {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("vnttest" + std::to_string(getpid()));

    working_folder()
    {
        std::filesystem::create_directory(path);
        std::filesystem::current_path(path);
    }
    ~working_folder()
    {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(path);
    }
};

} // namespace vnt
