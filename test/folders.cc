#include "test/folders.h"

#include <sstream>

namespace vnt {

// The one file that knows the folders: all others compile to the same objects wherever they lie.
std::string source_path(const std::string &name)
{
    return VNT_SOURCE_DIR "/" + name;
}

std::string build_path(const std::string &name)
{
    return VNT_BUILD_DIR "/" + name;
}

std::string file_text(const std::string &path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf(); // a file of a process may end with it while it is read
    return text.str();
}

} // namespace vnt
