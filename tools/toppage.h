// toppage.h: the page of vnttop, which the browser fills with what the watch knows.
//
// It needs nothing beside itself and the address "data" below its own.

#pragma once

#include <string>

namespace vnt {

std::string top_page();

} // namespace vnt
