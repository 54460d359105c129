// manual.h: manual pages of section 3 and pages of the site, made of a header.
//
// Threads: any; nothing is shared.

#pragma once

#include "docs/reference/header.h"

#include <map>

namespace vnt {

// Pages by their file's name.
using page_map = std::map<std::string, std::string>;

// What pages say beside the header.
struct manual_context {
    std::string include;                       // "vanto.h"
    std::string overview;                      // the page about the header itself: "vanto"
    std::string purpose;                       // of that page, in a few words
    std::string version;                       // of the project
    std::map<std::string, std::string> states; // of functions, as docs/functions.md says
};

// A page for each function and one for the header: "VNTLgetx.3".
page_map manual_pages(const header &h, const manual_context &c);

// A page of the site for each group: "the-solution.md", and the index of all functions.
page_map site_pages(const header &h, const manual_context &c);

// The states that docs/functions.md tells, by function; none where it is missing.
std::map<std::string, std::string> states_read(const std::string &path);

// What a function returns, in a sentence; the statuses that its parameters can lead to; whether the
// open solver lacks it.  Empty where there is nothing to say.
std::string result_text(const header_function &f);
std::string errors_text(const header_function &f, const manual_context &c);
std::string state_text(const header_function &f, const manual_context &c);

// The file name of a group's page, without its ending.
std::string page_name(const std::string &title);

} // namespace vnt
