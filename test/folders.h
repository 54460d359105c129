// folders.h: where the sources and the build lie, and files and folders for the length of a test.
//
// Threads: any, also before main().

#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace vnt {

std::string source_path(const std::string &name); // such as "test/models/afiro.mps"
std::string build_path(const std::string &name);  // such as "bin/vntworker"

// All that a file holds; nothing of one that is not there.
std::string file_text(const std::string &path);

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

// A file likewise, in the folder for such files.
class scratch {
  public:
    explicit scratch(const std::string &suffix, const std::string &text = "")
        : name(std::filesystem::temp_directory_path() / ("vnt" + std::to_string(getpid()) + suffix))
    {
        std::ofstream(name) << text;
    }
    ~scratch() { unlink(name.c_str()); }
    std::string text() const { return file_text(name); }
    const std::string name;
};

// A folder in which the test works.
struct working_folder : scratch_folder {
    working_folder() { std::filesystem::current_path(path); }
    ~working_folder() { std::filesystem::current_path("/"); }
};

} // namespace vnt
