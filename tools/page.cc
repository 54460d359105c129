#include "tools/page.h"

#include "tools/files.h"
#include "tools/pagestyle.h"
#include "tools/plot.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace vnt {

static constexpr const char *style = R"(
svg { display:block; width:100%; height:auto; background:var(--card); border:1px solid var(--line);
  border-radius:.5rem }
svg text { fill:var(--soft); font:13px system-ui,sans-serif }
.wide { display:block } .narrow { display:none }
@media (max-width:40rem) { body { padding:1.25rem .9rem 2rem } .wide { display:none }
  .narrow { display:block } }
.grid { stroke:var(--line); stroke-width:1 }
.best { stroke:var(--best); fill:none; stroke-width:2.25 }
.bound { stroke:var(--bound); fill:none; stroke-width:2.25 }
.dot { fill:var(--best) }
.key { display:flex; gap:1.25rem; margin:.5rem 0 0; color:var(--soft); font-size:.9rem }
.key i { display:inline-block; width:1.5rem; height:0; border-top:3px solid; vertical-align:middle;
  margin-right:.4rem }
)";

// Text as it may stand in a page: valid UTF-8 without the signs of the markup.
static std::string escaped(const std::string &text)
{
    using json = nlohmann::json;
    const std::string valid =
        json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace));
    std::string out;
    for (char c : valid) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

static std::string figure(const std::string &name, const std::string &value)
{
    return fmt::format("<div class=\"figure\"><span>{}</span><b>{}</b></div>\n", name,
                       escaped(value));
}

static std::string number(const std::optional<double> &value)
{
    return value ? fmt::format("{:.10g}", *value) : "none";
}

static std::string figures(const solve_report &r)
{
    const std::optional<double> gap = progress_gap(r.objective, r.bound);
    std::string text = "<div class=\"figures\">\n";
    text += figure("Objective", number(r.objective)) + figure("Bound", number(r.bound));
    text += figure("Gap", gap ? fmt::format("{:.3g} %", *gap < 1e-11 ? 0 : 100 * *gap) : "none");
    text += figure("Seconds", r.seconds ? fmt::format("{:.2f}", *r.seconds) : "unknown");
    text += figure("Nodes", fmt::format("{}", r.nodes));
    text += figure("Iterations", fmt::format("{}", r.iterations));
    return text + "</div>\n";
}

static std::string row(const std::string &name, const std::string &value)
{
    return fmt::format("<tr><td>{}</td><td>{}</td></tr>\n", escaped(name), value);
}

static std::string model_table(const solve_report &r)
{
    return "<h2>Model</h2>\n<table>\n" + row("Rows", fmt::format("{}", r.rows)) +
           row("Columns", fmt::format("{}", r.columns)) +
           row("of these integer", fmt::format("{}", r.integers)) +
           row("Nonzeros", fmt::format("{}", r.nonzeros)) + "</table>\n";
}

static std::string solution_table(const solve_report &r)
{
    const std::vector<named_value> largest = report_largest(r, 30);
    if (largest.empty()) return "";
    std::string text =
        "<h2>Largest variables</h2>\n<table>\n<tr><th>Name</th><th>Value</th></tr>\n";
    for (const named_value &v : largest)
        text += row(v.name, fmt::format("{:.10g}", v.value));
    return text + "</table>\n";
}

static std::string plot_section(const std::vector<progress_sample> &samples)
{
    const std::string wide = plot_svg(samples, {920, 380, "wide"});
    if (wide.empty()) return "<h2>Convergence</h2>\n<p>The solve ended at once.</p>\n";
    return "<h2>Convergence</h2>\n" + wide + plot_svg(samples, {380, 320, "narrow"}) +
           "<p class=\"key\"><span><i style=\"border-color:var(--best)\"></i>best solution</span>"
           "<span><i style=\"border-color:var(--bound)\"></i>bound</span></p>\n";
}

static std::string page(const solve_report &r, const std::vector<progress_sample> &samples,
                        std::chrono::system_clock::time_point started)
{
    const std::string model = escaped(r.model.substr(r.model.rfind('/') + 1));
    return fmt::format("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width\">\n"
                       "<title>{0}: {1}</title>\n<style>{2}</style>\n</head>\n<body>\n"
                       "<h1>{0}: {1}</h1>\n<p>{5}, started {3:%F %T} UTC, solved by {4}</p>\n",
                       model, report_end(r), std::string(page_style) + style, fmt::gmtime(started),
                       r.server.empty() ? "this process" : "a worker of " + escaped(r.server),
                       escaped(r.model)) +
           (r.trouble ? "<p>" + escaped(r.trouble->message) + "</p>\n" : "") + figures(r) +
           plot_section(samples) + model_table(r) + solution_table(r) +
           "<h2></h2>\n<p>vntsolve " VNT_VERSION "</p>\n</body>\n</html>\n";
}

void page_write(const std::string &file, const solve_report &report,
                const std::vector<progress_sample> &samples,
                std::chrono::system_clock::time_point started)
{
    file_write(file, page(report, samples, started));
}

} // namespace vnt
