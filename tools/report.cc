#include "tools/report.h"

#include "vanto.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>

namespace vnt {

// Each end of a solve: one of six words for programs and what made it end, a text for people and
// the exit status.
struct outcome {
    int stat;
    const char *word;
    const char *reason; // null where nothing cut it short
    const char *text;
    exit_status exit;
};

static constexpr outcome outcomes[] = {
    {VNT_STAT_NONE, "error", nullptr, "not solved", EXIT_INTERNAL},
    {VNT_STAT_OPTIMAL, "optimal", nullptr, "optimal", EXIT_SOLVED},
    {VNT_STAT_INFEASIBLE, "infeasible", nullptr, "infeasible", EXIT_INFEASIBLE},
    {VNT_STAT_UNBOUNDED, "unbounded", nullptr, "unbounded", EXIT_UNBOUNDED},
    {VNT_STAT_INFEASIBLE_OR_UNBOUNDED, "infeasible_or_unbounded", nullptr,
     "infeasible or unbounded", EXIT_INFEASIBLE},
    {VNT_STAT_ITERATION_LIMIT, "limit", "iterations", "stopped at the iteration limit", EXIT_LIMIT},
    {VNT_STAT_TIME_LIMIT, "limit", "time", "stopped at the time limit", EXIT_LIMIT},
    {VNT_STAT_NODE_LIMIT, "limit", "nodes", "stopped at the node limit", EXIT_LIMIT},
    {VNT_STAT_SOLUTION_LIMIT, "limit", "solutions", "stopped at the solution limit", EXIT_LIMIT},
    {VNT_STAT_STOPPED, "limit", "user", "stopped by the user", EXIT_INTERRUPTED},
    {VNT_STAT_OPTIMAL_TOLERANCE, "optimal", "tolerance", "optimal within the tolerance",
     EXIT_SOLVED},
    {VNT_STAT_NUMERICAL, "error", "numerical", "numerical trouble", EXIT_INTERNAL},
    {VNT_STAT_CUTOFF, "limit", "cutoff", "nothing is better than the cutoff", EXIT_LIMIT},
};

static const outcome &find(int stat)
{
    for (const outcome &row : outcomes)
        if (row.stat == stat) return row;
    return outcomes[0];
}

exit_status report_exit(const solve_report &report)
{
    return report.trouble ? report.trouble->status : find(report.stat).exit;
}

std::string report_end(const solve_report &report)
{
    return find(report.stat).text;
}

// A gap within the rounding error is not shown.
static std::string gap_text(const solve_report &report)
{
    const double gap = progress_gap(report.objective, report.bound).value_or(0);
    return gap < 1e-11 ? "" : fmt::format("   (gap {:.3g} %)", 100 * gap);
}

std::vector<named_value> report_largest(const solve_report &report, size_t most)
{
    std::vector<const named_value *> order;
    for (const named_value &v : report.values)
        if (v.value != 0) order.push_back(&v);
    const size_t count = std::min(most, order.size());
    std::partial_sort(order.begin(), order.begin() + static_cast<ptrdiff_t>(count), order.end(),
                      [](const named_value *a, const named_value *b) {
                          const double x = std::fabs(a->value), y = std::fabs(b->value);
                          return x != y ? x > y : a < b; // of like ones the first columns
                      });
    std::vector<named_value> largest;
    for (size_t i = 0; i < count; i++)
        largest.push_back(*order[i]);
    return largest;
}

std::string report_summary(const solve_report &report)
{
    std::string text;
    auto out = std::back_inserter(text);
    fmt::format_to(out, "Status:      {}\n", find(report.stat).text);
    if (report.objective) fmt::format_to(out, "Objective:   {:.12g}\n", *report.objective);
    if (report.bound)
        fmt::format_to(out, "Bound:       {:.12g}{}\n", *report.bound, gap_text(report));
    fmt::format_to(out, "Model:       {} rows, {} columns ({} integer), {} nonzeros\n", report.rows,
                   report.columns, report.integers, report.nonzeros);
    fmt::format_to(out, "Work:        {} iterations, {} nodes{}\n", report.iterations, report.nodes,
                   report.seconds ? fmt::format(", {:.2f} seconds", *report.seconds) : "");
    fmt::format_to(out, "Solved by:   {}\n",
                   report.server.empty() ? "this process" : "a worker of " + report.server);
    const std::vector<named_value> largest = report_largest(report, 5);
    if (!largest.empty()) fmt::format_to(out, "Largest variables:\n");
    for (const named_value &variable : largest)
        fmt::format_to(out, "  {:<12} {:.12g}\n", variable.name, variable.value);
    return text;
}

using json = nlohmann::ordered_json;

// Infinite values stand for none.
static json number_json(const std::optional<double> &value)
{
    return value && std::fabs(*value) < VNT_INFINITY ? json(*value) : nullptr;
}

static json text_json(const char *text)
{
    return text != nullptr ? json(text) : nullptr;
}

static json solution_json(const solve_report &report)
{
    if (!report.objective) return nullptr;
    json list = json::array();
    for (const named_value &v : report.values)
        list.push_back({{"name", v.name}, {"value", number_json(v.value)}});
    return list;
}

std::string report_json(const solve_report &report, bool solution)
{
    const outcome &end = find(report.stat);
    json object = {
        {"schema", "vntsolve-result-1"},
        {"version", VNT_VERSION},
        {"exit", static_cast<int>(report_exit(report))},
        {"status", report.running ? "running" : end.word},
        {"reason", text_json(report.running ? "user" : end.reason)},
        {"message", report.trouble ? json(report.trouble->message) : nullptr},
        {"objective", number_json(report.objective)},
        {"bound", number_json(report.bound)},
        {"gap", number_json(progress_gap(report.objective, report.bound))},
        {"rows", report.rows},
        {"columns", report.columns},
        {"nonzeros", report.nonzeros},
        {"integers", report.integers},
        {"iterations", report.iterations},
        {"nodes", report.nodes},
        {"seconds", number_json(report.seconds)},
        {"server", text_json(report.server.empty() ? nullptr : report.server.c_str())},
    };
    if (solution) object["solution"] = solution_json(report);
    return object.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

} // namespace vnt
