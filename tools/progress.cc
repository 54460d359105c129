#include "tools/progress.h"

#include "tools/number.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sstream>

namespace vnt {

std::optional<double> progress_gap(const std::optional<double> &objective,
                                   const std::optional<double> &bound)
{
    if (!objective || !bound) return std::nullopt;
    return std::fabs(*objective - *bound) / std::max(1e-10, std::fabs(*objective));
}

progress_sample progress_of(double seconds, const vntmipprogress &progress)
{
    progress_sample sample;
    sample.seconds = seconds;
    sample.nodes = progress.nodes;
    sample.iterations = progress.iterations;
    if (progress.solutions > 0) sample.incumbent = progress.incumbent;
    if (std::fabs(progress.bound) < VNT_INFINITY) sample.bound = progress.bound;
    if (progress.solutions > 0 && progress.gap < VNT_INFINITY) sample.gap = progress.gap;
    return sample;
}

// As many digits as twelve characters hold, ten at most.
static std::string short_number(double value)
{
    std::string text;
    for (int digits = 10; digits > 0; digits--) {
        text = fmt::format("{:.{}g}", value, digits);
        if (text.size() <= 12) break;
    }
    return text;
}

std::string progress_text(const progress_sample &sample)
{
    const bool nodes = sample.nodes.value_or(0) > 0;
    std::string text = fmt::format("{:7.1f} s", sample.seconds);
    if (nodes || sample.iterations)
        text += fmt::format("  {} {}", nodes ? *sample.nodes : *sample.iterations,
                            nodes ? "nodes" : "iterations");
    if (sample.incumbent) text += "  best " + short_number(*sample.incumbent);
    if (sample.bound) text += "  bound " + short_number(*sample.bound);
    // What is far from closed has no use for a figure.
    if (sample.gap && *sample.gap < 10) text += fmt::format("  gap {:.2f} %", 100 * *sample.gap);
    return text;
}

// "* incumbent 3350 after 17 nodes"
static std::optional<progress_sample> incumbent_parse(std::istringstream &words)
{
    progress_sample sample;
    std::string word, value, after, nodes, unit;
    double number;
    int64_t count;
    words >> word >> value >> after >> nodes >> unit;
    if (word != "incumbent" || after != "after" || unit != "nodes") return std::nullopt;
    if (!number_parse(value, &number) || !number_parse(nodes, &count)) return std::nullopt;
    sample.event = "incumbent";
    sample.seconds = NAN;
    sample.incumbent = number;
    sample.nodes = count;
    return sample;
}

std::optional<progress_sample> progress_parse(const std::string &line)
{
    std::istringstream words(line);
    std::string word, next;
    progress_sample sample;
    if (!(words >> word)) return std::nullopt;
    if (word == "*") return incumbent_parse(words);
    if (!number_parse(word, &sample.seconds) || !(words >> word) || word != "s")
        return std::nullopt;
    double value;
    int64_t count;
    while (words >> word >> next) {
        if (next == "nodes" && number_parse(word, &count))
            sample.nodes = count;
        else if (next == "iterations" && number_parse(word, &count))
            sample.iterations = count;
        else if (!number_parse(next, &value))
            return std::nullopt;
        else if (word == "best")
            sample.incumbent = value;
        else if (word == "bound")
            sample.bound = value;
        else if (word == "gap" && words >> word) // the percent sign
            sample.gap = value / 100;
    }
    if (!sample.nodes && !sample.iterations) return std::nullopt;
    return sample;
}

template <class Value> static nlohmann::ordered_json or_null(const std::optional<Value> &value)
{
    return value ? nlohmann::ordered_json(*value) : nullptr;
}

std::string progress_json(const progress_sample &sample)
{
    nlohmann::ordered_json line = {{"event", sample.event},
                                   {"seconds", sample.seconds},
                                   {"nodes", or_null(sample.nodes)},
                                   {"iterations", or_null(sample.iterations)},
                                   {"incumbent", or_null(sample.incumbent)},
                                   {"bound", or_null(sample.bound)},
                                   {"gap", or_null(sample.gap)}};
    return line.dump() + "\n";
}

} // namespace vnt
