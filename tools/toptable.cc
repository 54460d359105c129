#include "tools/toptable.h"

#include <algorithm>
#include <array>
#include <climits>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace vnt {

worker_loads loads_between(const server_status *before, const server_status &now, double seconds)
{
    std::map<int, double> past;
    if (before != nullptr)
        for (const worker_status &w : before->workers)
            if (w.cpu) past[w.id] = *w.cpu;
    worker_loads loads;
    for (const worker_status &w : now.workers) {
        if (!w.cpu) continue;
        const auto then = past.find(w.id);
        const bool known = then != past.end() && w.age >= seconds && then->second <= *w.cpu;
        const double time = known ? seconds : w.age;
        loads[w.id] = time > 0 ? (*w.cpu - (known ? then->second : 0)) / time : 0;
    }
    return loads;
}

std::string span_text(double seconds)
{
    const auto s = static_cast<int64_t>(seconds);
    if (s < 60) return fmt::format("{}s", s);
    if (s < 3600) return fmt::format("{}m{:02}", s / 60, s % 60);
    if (s < 100 * 3600) return fmt::format("{}h{:02}", s / 3600, s / 60 % 60);
    return fmt::format("{}d", s / 86400);
}

std::string amount_text(double bytes)
{
    static constexpr char units[] = "BKMGTP";
    size_t unit = 0;
    for (; bytes >= 999.5 && unit < 5; unit++)
        bytes /= 1024;
    return fmt::format("{:.{}f}{}", bytes, bytes < 9.95 && unit > 0 ? 1 : 0, units[unit]);
}

static std::string cut(std::string text, int width)
{
    if (text.size() > static_cast<size_t>(std::max(width, 0)))
        text.resize(static_cast<size_t>(std::max(width, 0)));
    return text;
}

// "3 workers: 2 serving, 1 parked"
static std::string states_text(const server_status &s)
{
    std::map<std::string, int> states;
    for (const worker_status &w : s.workers)
        states[w.state]++;
    std::string text;
    for (const char *state : {"serving", "parked", "orphan", "handshake"})
        if (states[state] > 0)
            text += fmt::format("{}{} {}", text.empty() ? ": " : ", ", states[state], state);
    const auto workers = static_cast<int>(s.workers.size()) - states["handshake"];
    return fmt::format("{} worker{}{}", workers, workers == 1 ? "" : "s", text);
}

static std::string amount(uint64_t bytes)
{
    return amount_text(static_cast<double>(bytes));
}

static std::string server_text(const server_status &s)
{
    return fmt::format("vntworker {} at {}, process {}, up {}{}", s.version, s.address, s.pid,
                       span_text(s.uptime), s.draining ? ", ends with its last worker" : "");
}

// What the system says of all workers, where the server runs on this host.
static std::string system_text(const server_status &s, const worker_loads &loads)
{
    if (loads.empty()) return "";
    double load = 0;
    uint64_t memory = 0;
    for (const auto &[id, share] : loads)
        load += share;
    for (const worker_status &w : s.workers)
        memory += w.memory.value_or(0);
    return fmt::format(", CPU {:.0f} %, memory {}", 100 * load, amount(memory));
}

static std::string counts_text(const server_status &s)
{
    return fmt::format("connections {}, refused {}, workers ended {}, in {}, out {}", s.accepted,
                       counts_sum(s.refused), counts_sum(s.ended), amount(s.in), amount(s.out));
}

using worker_row = std::array<std::string, 9>;

static std::string row_text(const worker_row &row, int client)
{
    std::string text =
        fmt::format("{:>7} {:<{}} {:<9}", row[0], cut(row[1], client), client, row[2]);
    for (size_t i = 3; i < row.size(); i++)
        text += fmt::format(" {:>5}", row[i]);
    return text;
}

static worker_row row_of(const worker_status &w, const worker_loads &loads)
{
    const auto load = loads.find(w.id);
    return {w.id > 0 ? std::to_string(w.id) : "-",
            w.client,
            w.state,
            span_text(w.instate),
            span_text(w.idle),
            amount(w.in),
            amount(w.out),
            load != loads.end() ? fmt::format("{:.0f}", 100 * load->second) : "-",
            w.memory ? amount(*w.memory) : "-"};
}

static std::vector<worker_status> busiest_first(const server_status &s, const worker_loads &loads)
{
    auto load = [&](const worker_status &w) {
        const auto found = loads.find(w.id);
        return found != loads.end() ? found->second : -1;
    };
    std::vector<worker_status> all = s.workers;
    std::stable_sort(all.begin(), all.end(), [&](const worker_status &a, const worker_status &b) {
        return load(a) > load(b);
    });
    return all;
}

// The column of the clients gets the width that the others leave.
static int client_width(const server_status &s, int width)
{
    static constexpr int others = 54;
    size_t longest = 6;
    for (const worker_status &w : s.workers)
        longest = std::max(longest, w.client.size());
    return std::max(6, std::min(static_cast<int>(longest), width - others));
}

std::string top_table(const server_status &s, const worker_loads &loads, int width, int height)
{
    texts lines = {server_text(s), states_text(s) + system_text(s, loads), counts_text(s)};
    const std::vector<worker_status> all = busiest_first(s, loads);
    const size_t room = static_cast<size_t>(std::max(1, height - 6));
    const size_t shown = all.size() <= room + 1 ? all.size() : room;
    const int client = client_width(s, width);
    if (!all.empty())
        lines.insert(lines.end(), {"", row_text({"WORKER", "CLIENT", "STATE", "FOR", "IDLE", "IN",
                                                 "OUT", "CPU%", "MEM"},
                                                client)});
    for (size_t i = 0; i < shown; i++)
        lines.push_back(row_text(row_of(all[i], loads), client));
    if (shown < all.size()) lines.push_back(fmt::format("... and {} more", all.size() - shown));
    std::string text;
    for (const std::string &line : lines)
        text += cut(line, width) + "\n";
    return text;
}

using object = nlohmann::ordered_json;

static object value_json(const auto &value)
{
    return value;
}

static object value_json(const named_counts &counts)
{
    object json = object::object();
    for (const auto &[name, count] : counts)
        json[name] = count;
    return json;
}

template <class T> static object value_json(const std::optional<T> &value)
{
    return value ? object(*value) : object();
}

template <class Number> static void numbers_add(object &json, const worker_status &w)
{
    worker_facts([&](const fact &f, auto member) {
        if constexpr (std::is_same_v<decltype(member), Number worker_status::*>)
            json[f.json] = w.*member;
    });
}

static object worker_json(const worker_status &w)
{
    object json = {{"id", nullptr}, {"client", w.client}, {"state", w.state}};
    if (w.id > 0) json["id"] = w.id;
    numbers_add<double>(json, w); // the times stand before the amounts
    numbers_add<uint64_t>(json, w);
    json["cpu_seconds"] = value_json(w.cpu);
    json["memory_bytes"] = value_json(w.memory);
    return json;
}

std::string top_json(const server_status &s)
{
    object json = {
        {"schema", "vnttop-1"}, {"version", s.version}, {"address", s.address}, {"pid", s.pid}};
    server_facts([&](const fact &f, auto member) { json[f.json] = value_json(s.*member); });
    json["workers"] = object::array();
    for (const worker_status &w : s.workers)
        json["workers"].push_back(worker_json(w));
    return json.dump(2, ' ', false, object::error_handler_t::replace) + "\n";
}

} // namespace vnt
