#include "tools/exits.h"

#include <fmt/format.h>

namespace vnt {

std::string exits_help()
{
    std::string text = "Exit status:\n";
#define EXIT(name, status, meaning) text += fmt::format("  {}  {}\n", status, meaning);
#include "tools/exits.def"
    return text;
}

} // namespace vnt
