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

static std::string metric(const char *name, const char *type, const char *help)
{
    return fmt::format("# HELP {0} {2}\n# TYPE {0} {1}\n", name, type, help);
}

template <class T>
static std::string single(const char *name, const char *type, const char *help, T value)
{
    return metric(name, type, help) + fmt::format("{} {}\n", name, value);
}

static std::string counts(const char *name, const char *label, const char *help,
                          const named_counts &rows)
{
    std::string text = metric(name, "counter", help);
    for (const auto &[word, count] : rows)
        text += fmt::format("{}{{{}={}}} {}\n", name, label, quoted(word), count);
    return text;
}

// All states have a line, so that a curve ends at zero instead of breaking off.
static std::string states(const server_status &s)
{
    std::map<std::string, int> number = {
        {"handshake", 0}, {"serving", 0}, {"parked", 0}, {"orphan", 0}};
    for (const worker_status &w : s.workers)
        number[w.state]++;
    std::string text =
        metric("vanto_workers", "gauge", "Workers by state, and connections that have none yet.");
    for (const auto &[state, count] : number)
        text += fmt::format("vanto_workers{{state={}}} {}\n", quoted(state), count);
    return text;
}

// One line a worker, where its value is known.
template <class Value> static std::string workers(const server_status &s, const char *name,
                                                  const char *type, const char *help, Value value)
{
    std::string text = metric(name, type, help);
    for (const worker_status &w : s.workers) {
        const auto found = value(w);
        if (w.id > 0 && found)
            text += fmt::format("{}{{worker=\"{}\",client={}}} {}\n", name, w.id, quoted(w.client),
                                *found);
    }
    return text;
}

static std::string all_workers(const server_status &s)
{
    using row = const worker_status &;
    return workers(s, "vanto_worker_cpu_seconds_total", "counter", "Processor time of a worker.",
                   [](row w) { return w.cpu; }) +
           workers(s, "vanto_worker_memory_bytes", "gauge", "Resident memory of a worker.",
                   [](row w) { return w.memory; }) +
           workers(s, "vanto_worker_received_bytes_total", "counter", "Bytes from its clients.",
                   [](row w) { return std::optional(w.in); }) +
           workers(s, "vanto_worker_sent_bytes_total", "counter", "Bytes to its clients.",
                   [](row w) { return std::optional(w.out); }) +
           workers(s, "vanto_worker_idle_seconds", "gauge", "Time since a byte of it moved.",
                   [](row w) { return std::optional(w.idle); });
}

std::string metrics_text(const std::optional<server_status> &status)
{
    using namespace std::chrono;
    std::string text = single("vanto_up", "gauge", "Whether the server answers.", status ? 1 : 0);
    if (!status) return text;
    const server_status &s = *status;
    const double now = duration<double>(system_clock::now().time_since_epoch()).count();
    text += metric("vanto_server_info", "gauge", "The server's version and address.") +
            fmt::format("vanto_server_info{{version={},address={}}} 1\n", quoted(s.version),
                        quoted(s.address));
    text += single("vanto_server_start_time_seconds", "gauge", "When the server started.",
                   fmt::format("{:.3f}", now - s.uptime));
    text += single("vanto_server_draining", "gauge", "Whether it ends with its last worker.",
                   s.draining ? 1 : 0);
    text += single("vanto_connections_accepted_total", "counter", "Connections.", s.accepted);
    text += single("vanto_connections_served_total", "counter",
                   "Connections that got a worker, a new one or their own.", s.served);
    text += counts("vanto_connections_refused_total", "reason", "Connections without a worker.",
                   s.refused);
    text += counts("vanto_workers_ended_total", "cause", "Workers that have ended.", s.ended);
    text += single("vanto_received_bytes_total", "counter", "Bytes from clients.", s.in);
    text += single("vanto_sent_bytes_total", "counter", "Bytes to clients.", s.out);
    return text + states(s) + all_workers(s);
}

} // namespace vnt
