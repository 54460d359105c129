#include "tools/page.h"

#include "tools/files.h"
#include "tools/plot.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace vnt {

static constexpr const char *style = R"(
:root { --ink:#1c2430; --soft:#5b6675; --line:#dde2e8; --paper:#ffffff; --card:#f6f8fa;
  --best:#0a7d55; --bound:#2f5fb3; --mark:#b3541e; }
@media (prefers-color-scheme: dark) { :root { --ink:#e6eaf0; --soft:#9aa6b5; --line:#333c48;
  --paper:#14181e; --card:#1c222a; --best:#43c592; --bound:#7aa5f0; --mark:#e8935c; } }
* { box-sizing:border-box }
body { margin:0 auto; max-width:62rem; padding:2rem 1.25rem 3rem; background:var(--paper);
  color:var(--ink); font:16px/1.5 system-ui,sans-serif; }
h1 { font-size:1.5rem; margin:0 0 .25rem; overflow-wrap:anywhere }
h2 { font-size:1.05rem; margin:2.25rem 0 .75rem }
p { margin:.25rem 0; color:var(--soft); overflow-wrap:anywhere }
.figures { display:grid; grid-template-columns:repeat(auto-fit,minmax(8.5rem,1fr)); gap:.75rem;
  margin-top:1.5rem }
.figure { background:var(--card); border:1px solid var(--line); border-radius:.5rem;
  padding:.75rem 1rem }
.figure b { display:block; font-size:1.2rem; font-weight:600; font-variant-numeric:tabular-nums;
  overflow-wrap:anywhere }
.figure span, th { color:var(--soft); font-size:.85rem; font-weight:400 }
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
table { border-collapse:collapse; width:100% }
th, td { text-align:left; padding:.3rem .75rem .3rem 0; border-bottom:1px solid var(--line);
  overflow-wrap:anywhere }
td:last-child, th:last-child { text-align:right; padding-right:0;
  font-variant-numeric:tabular-nums }
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
                       model, report_end(r), style, fmt::gmtime(started),
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
