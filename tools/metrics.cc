#include "tools/metrics.h"

#include <chrono>
#include <fmt/format.h>
#include <map>

namespace vnt {

// A value within a line may hold anything but these three signs.
static std::string quoted(const std::string &text)
{
    std::string out = "\"";
    for (char c : text) {
        if (c == '\\' || c == '"') out += '\\';
        out += c == '\n' ? "\\n" : std::string(1, c);
    }
    return out + '"';
}

static std::string head(const fact &f)
{
    const bool counts = std::string_view(f.metric).ends_with("_total");
    return fmt::format("# HELP {0} {2}\n# TYPE {0} {1}\n", f.metric, counts ? "counter" : "gauge",
                       f.help);
}

template <class Value> static std::string metric(const fact &f, const Value &value)
{
    return head(f) + fmt::format("{} {}\n", f.metric, value);
}

static std::string metric(const fact &f, bool value)
{
    return metric(f, value ? 1 : 0);
}

static std::string metric(const fact &f, const named_counts &rows)
{
    std::string text = head(f);
    for (const auto &[name, count] : rows)
        text += fmt::format("{}{{{}={}}} {}\n", f.metric, f.label, quoted(name), count);
    return text;
}

static std::string metric(const fact &, const texts &)
{
    return ""; // Prometheus keeps numbers only
}

// All states have a line, so that a curve ends at zero instead of breaking off.
static std::string states(const server_status &s)
{
    std::map<std::string, int> number = {
        {"handshake", 0}, {"serving", 0}, {"parked", 0}, {"orphan", 0}};
    for (const worker_status &w : s.workers)
        number[w.state]++;
    const fact workers = {.metric = "vanto_workers",
                          .help = "Workers by state, and connections that have none yet.",
                          .label = "state"};
    return metric(workers, named_counts(number.begin(), number.end()));
}

// One line a worker, where its value is known.
template <class Value> static std::string worker_metric(const server_status &s, const fact &f,
                                                        Value worker_status::*member)
{
    std::string text = head(f);
    for (const worker_status &w : s.workers)
        if (const auto value = std::optional(w.*member); w.id > 0 && value)
            text += fmt::format("{}{{worker=\"{}\",client={}}} {}\n", f.metric, w.id,
                                quoted(w.client), *value);
    return text;
}

static std::string worker_metrics(const server_status &s)
{
    const fact cpu = {.metric = "vanto_worker_cpu_seconds_total",
                      .help = "Processor time of a worker."};
    const fact memory = {.metric = "vanto_worker_memory_bytes",
                         .help = "Resident memory of a worker."};
    std::string text = worker_metric(s, cpu, &worker_status::cpu) +
                       worker_metric(s, memory, &worker_status::memory);
    worker_facts([&](const fact &f, auto member) {
        if (f.metric != nullptr) text += worker_metric(s, f, member);
    });
    return text;
}

// The start, which stays the same, stands for the uptime.
static std::string server_metrics(const server_status &s)
{
    using namespace std::chrono;
    const double now = duration<double>(system_clock::now().time_since_epoch()).count();
    const fact info = {.metric = "vanto_server_info", .help = "The server's version and address."};
    std::string text = head(info) + fmt::format("{}{{version={},address={}}} 1\n", info.metric,
                                                quoted(s.version), quoted(s.address));
    const fact start = {.metric = "vanto_server_start_time_seconds",
                        .help = "When the server started."};
    text += metric(start, fmt::format("{:.3f}", now - s.uptime));
    server_facts([&](const fact &f, auto member) {
        if (f.metric != nullptr) text += metric(f, s.*member);
    });
    return text;
}

std::string metrics_text(const std::optional<server_status> &status)
{
    const std::string up =
        metric({.metric = "vanto_up", .help = "Whether the server answers."}, status.has_value());
    return status ? up + server_metrics(*status) + states(*status) + worker_metrics(*status) : up;
}

} // namespace vnt
