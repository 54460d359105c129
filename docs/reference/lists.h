// lists.h: pages of the site that are made of lists.
//
// Threads: any; the lists are constant.

#pragma once

#include "docs/reference/header.h"

namespace vnt {

// The solver's parameters: names, number, type, default, range, and what the header says of each.
std::string parameters_page(const header &h);

// The exit statuses of vntsolve.
std::string exits_page(void);

} // namespace vnt
