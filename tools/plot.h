// plot.h: incumbent and bound over time, as a drawing for a page.

#pragma once

#include "tools/progress.h"

#include <string>
#include <vector>

namespace vnt {

struct plot_form {
    int width, height;
    const char *cssclass;
};

// An <svg> element; empty when there is too little to draw.
std::string plot_svg(const std::vector<progress_sample> &samples, const plot_form &form);

} // namespace vnt
