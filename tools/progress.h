// progress.h: one look at a running solve, as a line for people and as one for programs.
//
// The solver's log has progress lines of the same form, so a solve that is left most of the time
// shows its progress by its log.

#pragma once

#include "vanto.h"

#include <optional>
#include <string>

namespace vnt {

struct progress_sample {
    std::string event = "progress"; // or "incumbent", "end"
    double seconds = 0;             // since the start of the solve
    std::optional<int64_t> nodes;
    std::optional<int64_t> iterations;
    std::optional<double> incumbent;
    std::optional<double> bound;
    std::optional<double> gap; // relative: 0.1 is 10 %
};

// The relative distance between an objective and a bound; nothing where one of them is missing.
std::optional<double> progress_gap(const std::optional<double> &objective,
                                   const std::optional<double> &bound);

progress_sample progress_of(double seconds, const vntmipprogress &progress);

// At most 79 characters, without a line break.
std::string progress_text(const progress_sample &sample);

// Reads a line of the solver's log; nothing when it is no progress line and tells no incumbent.
std::optional<progress_sample> progress_parse(const std::string &line);

// One JSON object on a line of its own.
std::string progress_json(const progress_sample &sample);

} // namespace vnt
