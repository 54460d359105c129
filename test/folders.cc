#include "test/folders.h"

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

} // namespace vnt
