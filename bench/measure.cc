#include "bench/measure.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <sched.h>
#include <sys/utsname.h>
#include <thread>

namespace vnt {

void bench_must(bool fine, const char *what)
{
    if (fine) return;
    perror(what);
    exit(1);
}

double bench_seconds(const std::function<void()> &work)
{
    auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

static double cpu_used(const std::vector<pid_t> &others)
{
    double sum = 0;
    for (pid_t id : others) {
        clockid_t clock;
        bench_must(clock_getcpuclockid(id, &clock) == 0, "clock_getcpuclockid");
        timespec t;
        bench_must(clock_gettime(clock, &t) == 0, "clock_gettime");
        sum += static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
    }
    return sum;
}

double bench_cpu(const std::vector<pid_t> &others, const std::function<void()> &work)
{
    std::vector<pid_t> all = others;
    all.push_back(0); // this process
    double before = cpu_used(all);
    work();
    return cpu_used(all) - before;
}

one_core::one_core()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(0, &set);
    bench_must(sched_setaffinity(0, sizeof set, &set) == 0, "sched_setaffinity");
}

one_core::~one_core()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    for (unsigned i = 0; i < std::thread::hardware_concurrency(); i++)
        CPU_SET(i, &set);
    sched_setaffinity(0, sizeof set, &set);
}

bench_figure bench_figure_of(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return {values[values.size() / 2], values.front(), values.back()};
}

static double load_now()
{
    double load = 0;
    getloadavg(&load, 1);
    return load;
}

bench_report::bench_report(int rounds) : nrounds(rounds), loadbefore(load_now()), loadhighest(0) {}

static bool is_met(const bench_goal &goal, double value)
{
    return goal.kind == bench_goal::AT_MOST ? value <= goal.value : value >= goal.value;
}

static std::string number(double value)
{
    char text[32];
    snprintf(text, sizeof text, value < 10 ? "%.2f" : value < 100 ? "%.1f" : "%.0f", value);
    return text;
}

static std::string goal_text(const bench_goal &goal)
{
    if (goal.kind == bench_goal::NONE) return "";
    char text[32];
    snprintf(text, sizeof text, "%s %.4g",
             goal.kind == bench_goal::AT_MOST ? "<=" : ">=", goal.value);
    return text;
}

static std::string figure_text(const bench_figure &f)
{
    return number(f.median) + " (" + number(f.low) + "-" + number(f.high) + ")";
}

void bench_report::add(line l)
{
    loadhighest = std::max(loadhighest, load_now());
    fprintf(stderr, "%s, %s: %s %s", l.what.c_str(), l.way.c_str(), number(l.figure.median).c_str(),
            l.unit.c_str());
    if (!l.base.empty())
        fprintf(stderr, ", %s %s: %.3f", l.base.c_str(), number(l.basefigure.median).c_str(),
                l.ratio.median);
    fprintf(stderr, "\n");
    lines.push_back(std::move(l));
}

void bench_report::measure(const std::string &what, const char *unit, int rounds,
                           const std::vector<bench_way> &ways)
{
    std::vector<std::vector<double>> figures(ways.size());
    for (int i = 0; i < rounds; i++)
        for (size_t w = 0; w < ways.size(); w++)
            figures[w].push_back(ways[w].measure());
    const auto &base = figures.back();
    for (size_t w = 0; w < ways.size(); w++) {
        bool isbase = w + 1 == ways.size();
        if (isbase && w > 0) break;
        std::vector<double> ratios;
        for (size_t i = 0; i < base.size(); i++)
            ratios.push_back(figures[w][i] / base[i]);
        add({what, ways[w].name, unit, isbase ? "" : ways.back().name, bench_figure_of(figures[w]),
             bench_figure_of(base), bench_figure_of(ratios), ways[w].goal});
    }
}

void bench_report::compare(const std::string &what, const char *unit,
                           const std::vector<bench_way> &ways)
{
    for (const bench_way &w : ways)
        w.measure(); // pays for fresh memory
    measure(what, unit, nrounds, ways);
}

void bench_report::compare_once(const std::string &what, const char *unit,
                                const std::vector<bench_way> &ways)
{
    measure(what, unit, 1, ways);
}

static std::string processor()
{
    FILE *f = fopen("/proc/cpuinfo", "r");
    char text[256], name[200] = "unknown";
    while (f != nullptr && fgets(text, sizeof text, f) != nullptr)
        if (sscanf(text, "model name : %199[^\n]", name) == 1) break;
    if (f != nullptr) fclose(f);
    return name;
}

static std::string kernel()
{
    utsname u;
    return uname(&u) == 0 ? u.release : "";
}

void bench_report::print_table(FILE *to) const
{
    fprintf(to, "%u cores of %s, Linux %s; %d rounds; load %.1f before, at most %.1f during.\n\n",
            std::thread::hardware_concurrency(), processor().c_str(), kernel().c_str(), nrounds,
            loadbefore, loadhighest);
    fprintf(to, "| | | median (spread) | base | its median (spread) | ratio (spread) | goal | |\n"
                "|---|---|---|---|---|---|---|---|\n");
    for (const line &l : lines) {
        bool alone = l.base.empty();
        double value = alone ? l.figure.median : l.ratio.median;
        fprintf(to, "| %s | %s | %s %s | %s | %s | %s | %s | %s |\n", l.what.c_str(), l.way.c_str(),
                figure_text(l.figure).c_str(), l.unit.c_str(), l.base.c_str(),
                alone ? "" : figure_text(l.basefigure).c_str(),
                alone ? "" : figure_text(l.ratio).c_str(), goal_text(l.goal).c_str(),
                l.goal.kind == bench_goal::NONE ? ""
                : is_met(l.goal, value)         ? "met"
                                                : "missed");
    }
}

static void print_figure(FILE *to, const char *name, const bench_figure &f)
{
    fprintf(to, ", \"%s\": {\"median\": %g, \"low\": %g, \"high\": %g}", name, f.median, f.low,
            f.high);
}

void bench_report::print_json(FILE *to) const
{
    fprintf(to,
            "{\"cores\": %u, \"processor\": \"%s\", \"kernel\": \"%s\", \"rounds\": %d, "
            "\"load_before\": %g, \"load_highest\": %g, \"lines\": [",
            std::thread::hardware_concurrency(), processor().c_str(), kernel().c_str(), nrounds,
            loadbefore, loadhighest);
    const char *separator = "\n";
    for (const line &l : lines) {
        fprintf(to, "%s{\"what\": \"%s\", \"way\": \"%s\", \"unit\": \"%s\"", separator,
                l.what.c_str(), l.way.c_str(), l.unit.c_str());
        print_figure(to, "figure", l.figure);
        if (!l.base.empty()) {
            fprintf(to, ", \"base\": \"%s\"", l.base.c_str());
            print_figure(to, "base_figure", l.basefigure);
            print_figure(to, "ratio", l.ratio);
        }
        fprintf(to, ", \"goal\": \"%s\"}", goal_text(l.goal).c_str());
        separator = ",\n";
    }
    fprintf(to, "\n]}\n");
}

} // namespace vnt
