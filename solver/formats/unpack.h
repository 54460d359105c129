// unpack.h: compressed files: gzip, bzip2 and xz, known by their first bytes.
//
// Errors: failures with VNTERR_FILE_FORMAT for damaged ones.

#pragma once

#include <string>
#include <string_view>

namespace vnt {

// The unpacked bytes.  Bytes that are not packed come back unchanged.
std::string unpacked(std::string bytes);

// The name without the ending that stands for a packer.
std::string_view without_packer(std::string_view name);

} // namespace vnt
