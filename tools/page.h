// page.h: the report of a solve as one HTML page that needs nothing beside itself.

#pragma once

#include "tools/progress.h"
#include "tools/report.h"

#include <chrono>
#include <string>
#include <vector>

namespace vnt {

// Errors: throws failure with EXIT_UNREADABLE.
void page_write(const std::string &file, const solve_report &report,
                const std::vector<progress_sample> &samples,
                std::chrono::system_clock::time_point started);

} // namespace vnt
