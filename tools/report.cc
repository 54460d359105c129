#include "tools/report.h"

#include "vanto.h"

#include <cmath>
#include <fmt/format.h>
#include <iterator>

namespace vnt {

// Each end of a solve: one of five words for programs, a text for people and the exit status.
struct outcome {
    int stat;
    const char *word;
    const char *text;
    exit_status exit;
};

static constexpr outcome outcomes[] = {
    {VNT_STAT_NONE, "error", "not solved", EXIT_INTERNAL},
    {VNT_STAT_OPTIMAL, "optimal", "optimal", EXIT_SOLVED},
    {VNT_STAT_INFEASIBLE, "infeasible", "infeasible", EXIT_INFEASIBLE},
    {VNT_STAT_UNBOUNDED, "unbounded", "unbounded", EXIT_UNBOUNDED},
    {VNT_STAT_INFEASIBLE_OR_UNBOUNDED, "infeasible", "infeasible or unbounded", EXIT_INFEASIBLE},
    {VNT_STAT_ITERATION_LIMIT, "limit", "stopped at the iteration limit", EXIT_LIMIT},
    {VNT_STAT_TIME_LIMIT, "limit", "stopped at the time limit", EXIT_LIMIT},
    {VNT_STAT_NODE_LIMIT, "limit", "stopped at the node limit", EXIT_LIMIT},
    {VNT_STAT_SOLUTION_LIMIT, "limit", "stopped at the solution limit", EXIT_LIMIT},
    {VNT_STAT_STOPPED, "limit", "stopped by the user", EXIT_INTERRUPTED},
    {VNT_STAT_OPTIMAL_TOLERANCE, "optimal", "optimal within the tolerance", EXIT_SOLVED},
    {VNT_STAT_NUMERICAL, "error", "numerical trouble", EXIT_INTERNAL},
    {VNT_STAT_CUTOFF, "limit", "nothing is better than the cutoff", EXIT_LIMIT},
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

// A gap within the rounding error is not shown.
static std::string gap(double objective, double bound)
{
    double percent = 100 * std::fabs(objective - bound) / std::max(1e-10, std::fabs(objective));
    return percent < 1e-9 ? "" : fmt::format("   (gap {:.3g} %)", percent);
}

std::string report_summary(const solve_report &report)
{
    std::string text;
    auto out = std::back_inserter(text);
    fmt::format_to(out, "Status:      {}\n", find(report.stat).text);
    if (report.objective) fmt::format_to(out, "Objective:   {:.12g}\n", *report.objective);
    if (report.bound)
        fmt::format_to(out, "Bound:       {:.12g}{}\n", *report.bound,
                       report.objective ? gap(*report.objective, *report.bound) : "");
    fmt::format_to(out, "Model:       {} rows, {} columns ({} integer), {} nonzeros\n", report.rows,
                   report.columns, report.integers, report.nonzeros);
    fmt::format_to(out, "Work:        {} iterations, {} nodes{}\n", report.iterations, report.nodes,
                   report.seconds ? fmt::format(", {:.2f} seconds", *report.seconds) : "");
    fmt::format_to(out, "Solved by:   {}\n",
                   report.server.empty() ? "this process" : "a worker of " + report.server);
    if (report.largest.empty()) return text;
    fmt::format_to(out, "Largest variables:\n");
    for (const named_value &variable : report.largest)
        fmt::format_to(out, "  {:<12} {:.12g}\n", variable.name, variable.value);
    return text;
}

static std::string json_number(const std::optional<double> &value)
{
    if (!value || !std::isfinite(*value)) return "null";
    return fmt::format("{:.17g}", *value);
}

static std::string json_string(const std::string &text)
{
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\')
            out += {'\\', c};
        else if (static_cast<unsigned char>(c) < 0x20)
            out += fmt::format("\\u{:04x}", static_cast<int>(c));
        else
            out += c;
    }
    return out + '"';
}

std::string report_json(const solve_report &report)
{
    std::string text = "{\n";
    auto out = std::back_inserter(text);
    fmt::format_to(out, "  \"status\": \"{}\",\n", find(report.stat).word);
    if (report.trouble)
        fmt::format_to(out, "  \"message\": {},\n", json_string(report.trouble->message));
    fmt::format_to(out, "  \"objective\": {},\n", json_number(report.objective));
    fmt::format_to(out, "  \"bound\": {},\n", json_number(report.bound));
    fmt::format_to(out, "  \"rows\": {},\n", report.rows);
    fmt::format_to(out, "  \"columns\": {},\n", report.columns);
    fmt::format_to(out, "  \"nonzeros\": {},\n", report.nonzeros);
    fmt::format_to(out, "  \"integers\": {},\n", report.integers);
    fmt::format_to(out, "  \"iterations\": {},\n", report.iterations);
    fmt::format_to(out, "  \"nodes\": {},\n", report.nodes);
    fmt::format_to(out, "  \"seconds\": {},\n", json_number(report.seconds));
    fmt::format_to(out, "  \"server\": {}\n",
                   report.server.empty() ? "null" : json_string(report.server));
    return text + "}\n";
}

} // namespace vnt
