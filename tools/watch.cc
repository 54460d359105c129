#include "tools/watch.h"

#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>

namespace vnt {

static constexpr double HOUR = 3600;
static constexpr double STRETCH = 60;     // seconds
static constexpr size_t MOST_ENDED = 100; // workers that are gone and still shown

static double epoch()
{
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count();
}

watch::watch(std::string socket, double period)
    : socket(std::move(socket)), period(period), thread([this](std::stop_token s) { run(s); })
{
}

void watch::run(std::stop_token stop)
{
    const auto span = std::chrono::duration<double>(period);
    while (!stop.stop_requested()) {
        look(epoch());
        std::unique_lock hold(lock);
        stopped.wait_for(hold, stop, span, [] { return false; });
    }
}

// The server is asked without the lock: it may be slow.
void watch::look(double now)
{
    std::optional<server_status> s;
    std::string why;
    try {
        s = status_fetch(socket);
    } catch (const failure &what) {
        why = what.message;
    }
    std::lock_guard hold(lock);
    trouble = why;
    if (s) remember(*s, now);
    last = std::move(s);
    lasttime = now;
    forget(now);
}

void watch::remember(const server_status &s, double now)
{
    const bool same = last && last->pid == s.pid && last->uptime <= s.uptime;
    const double span = now - lasttime;
    loads = loads_between(same ? &*last : nullptr, s, span);
    sample sum = {now, 0, 0, 0, 0, 0, 0, 0};
    for (const worker_status &w : s.workers) {
        int &count = w.state == "serving"  ? sum.serving
                     : w.state == "parked" ? sum.parked
                                           : sum.others;
        count++;
        const double load = loads.contains(w.id) ? loads[w.id] : 0;
        sum.load += load;
        sum.memory += static_cast<double>(w.memory.value_or(0));
        if (w.id > 0) remember(w, load, now);
    }
    if (same && span > 0) {
        sum.in = static_cast<double>(s.in - last->in) / span;
        sum.out = static_cast<double>(s.out - last->out) / span;
    }
    samples.push_back(sum);
}

// The highest load of a stretch is kept: a short solve should not vanish.
void watch::remember(const worker_status &w, double load, double now)
{
    // Two looks may take the start for different seconds; the id is reused much later only.
    const auto start = static_cast<int64_t>(std::llround(now - w.age));
    auto found = lives.lower_bound({w.id, start - 5});
    if (found == lives.end() || found->first.first != w.id || found->first.second > start + 5)
        found = lives.try_emplace({w.id, start}).first;
    life &l = found->second;
    const auto number = static_cast<int64_t>(now / STRETCH);
    if (l.past.empty() || l.past.back().number != number) l.past.push_back({number, 0, 0});
    l.past.back().load = std::max(l.past.back().load, load);
    l.past.back().state = w.state[0];
    l.last = w;
    l.seen = now;
}

void watch::forget(double now)
{
    while (!samples.empty() && samples.front().time < now - HOUR)
        samples.pop_front();
    std::vector<double> gone;
    for (const auto &[key, l] : lives)
        if (l.seen < now) gone.push_back(l.seen);
    std::sort(gone.rbegin(), gone.rend());
    const double oldest = std::max(now - HOUR, gone.size() > MOST_ENDED ? gone[MOST_ENDED - 1] : 0);
    std::erase_if(lives, [&](const auto &l) { return l.second.seen < oldest; });
    for (auto &[key, l] : lives)
        while (!l.past.empty() &&
               static_cast<double>(l.past.front().number + 1) * STRETCH < now - HOUR)
            l.past.pop_front();
}

using object = nlohmann::ordered_json;

static double rounded(double value)
{
    return std::round(value * 1000) / 1000;
}

std::string watch::json() const
{
    std::lock_guard hold(lock);
    object all = {{"now", rounded(lasttime)},  {"period", period},  {"stretch", STRETCH},
                  {"trouble", trouble},        {"server", nullptr}, {"samples", object::array()},
                  {"workers", object::array()}};
    if (last) {
        all["server"] = object::parse(top_json(*last));
        all["server"].erase("workers");
    }
    for (const sample &s : samples)
        all["samples"].push_back({rounded(s.time), s.serving, s.parked, s.others, rounded(s.load),
                                  s.memory, std::round(s.in), std::round(s.out)});
    for (const auto &[key, l] : lives) {
        const worker_status &w = l.last;
        const bool there = last && l.seen == lasttime;
        const auto load = loads.find(w.id);
        object one = {{"id", w.id},
                      {"client", w.client},
                      {"state", there ? w.state : "ended"},
                      {"age", rounded(w.age)},
                      {"for", there ? rounded(w.instate) : lasttime - l.seen},
                      {"idle", rounded(w.idle)},
                      {"in", w.in},
                      {"out", w.out},
                      {"memory", w.memory ? object(*w.memory) : object()},
                      {"cpu", w.cpu ? object(rounded(*w.cpu)) : object()},
                      {"load", nullptr},
                      {"past", object::array()}};
        if (there && load != loads.end()) one["load"] = rounded(load->second);
        for (const stretch &s : l.past)
            one["past"].push_back({s.number, rounded(s.load), std::string(1, s.state)});
        all["workers"].push_back(one);
    }
    return all.dump(-1, ' ', false, object::error_handler_t::replace);
}

} // namespace vnt
