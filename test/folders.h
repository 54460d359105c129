// folders.h: where the sources and the build lie, for tests that read models or start programs.
//
// Threads: any, also before main().

#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace vnt {

std::string source_path(const std::string &name); // such as "test/models/afiro.mps"
std::string build_path(const std::string &name);  // such as "bin/vntworker"

// A folder for the length of a test.
struct scratch_folder {
    std::string path = std::filesystem::temp_directory_path() / "vnttest-XXXXXX";

    scratch_folder()
    {
        if (mkdtemp(path.data()) == nullptr) abort();
    }
    ~scratch_folder() { std::filesystem::remove_all(path); }
    scratch_folder(const scratch_folder &) = delete;
    scratch_folder &operator=(const scratch_folder &) = delete;
    std::string file(const std::string &name) const { return path + "/" + name; }
};

// One in which the test works.
struct working_folder : scratch_folder {
    working_folder() { std::filesystem::current_path(path); }
    ~working_folder() { std::filesystem::current_path("/"); }
};

} // namespace vnt
