// suite: what the way to a worker and back costs, beside a bare relay of the same shape (socket,
// pipe, process, pipe, socket), and how it grows with the bytes and with the clients.
//
// The worker's solver is a stand-in that answers at once.  Prints a table in Markdown; what is
// measured meanwhile goes to standard error.

#include "bench/measure.h"
#include "bench/raw.h"
#include "bench/relay.h"
#include "test/folders.h"
#include "test/process.h"
#include "test/server.h"
#include "vanto_client.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace vnt;

static constexpr double MB = 1e6;

namespace {
struct standin_server : server {
    explicit standin_server(const std::vector<std::string> &environment = {})
        : server({}, with_solver(environment))
    {
    }
    static std::vector<std::string> with_solver(std::vector<std::string> environment)
    {
        environment.push_back("LD_LIBRARY_PATH=" + build_path("bench/standin"));
        return environment;
    }
    std::vector<pid_t> processes() const
    {
        std::vector<pid_t> all = workers();
        all.push_back(pid());
        return all;
    }
};

// An environment and a problem in a worker, through the client's library.
struct client {
    VNTENVptr env;
    VNTLPptr lp = nullptr;

    explicit client(const server &where, int64_t columns = 1) : env(open_at(where))
    {
        int status = 0;
        if (env != nullptr) lp = VNTLcreateprob(env, &status, std::to_string(columns).c_str());
        bench_must(lp != nullptr, vntclient_errortext());
    }
    ~client()
    {
        VNTLfreeprob(env, &lp);
        VNTLcloseVANTO(&env);
    }
    client(const client &) = delete;
    client &operator=(const client &) = delete;

    void trip() const { bench_must(VNTLgetnumrows(env, lp) == 1, "getnumrows"); }
};
} // namespace

// --- Small calls -----------------------------------------------------------------------------

static constexpr int trips = 3000; // in one measurement

template <class Trip> static std::function<double()> microseconds_of(Trip trip)
{
    return [trip] {
        return 1e6 / trips * bench_seconds([&] {
                   for (int i = 0; i < trips; i++)
                       trip();
               });
    };
}

static void bare_trip(relay &bare)
{
    char up[80] = {}, down[8];
    bare.exchange(up, sizeof up, down, sizeof down);
}

static void raw_trip(raw_connection &raw)
{
    raw.send();
    raw.receive();
}

static void measure_small(bench_report &report, const char *what, bool polls, double rawgoal,
                          double goal)
{
    relay bare(polls);
    standin_server where;
    raw_connection raw(where.port());
    raw.open();
    client c(where);
    report.compare(
        what, "us",
        {{"raw bytes", at_most(rawgoal), microseconds_of([&] { raw_trip(raw); })},
         {"library", at_most(goal), microseconds_of([&] { c.trip(); })},
         {polls ? "bare, polling" : "bare", {}, microseconds_of([&] { bare_trip(bare); })}});
}

static void row_small(bench_report &report)
{
    one_core pinned;
    measure_small(report, "small call on one core", false, 1.05, 1.15);
}

static void row_free(bench_report &report)
{
    measure_small(report, "small call, free placement", true, 1.2, 1.2);
}

// The programs that measure other libraries, of those that were built.
static std::vector<std::filesystem::path> peers()
{
    std::vector<std::filesystem::path> found;
    std::error_code none;
    for (const auto &entry : std::filesystem::directory_iterator(BENCH_PEERS, none))
        found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    return found;
}

static double peer_seconds(const std::filesystem::path &program)
{
    const process_result measured = run({program, std::to_string(trips)});
    bench_must(measured.status == 0, program.c_str());
    return atof(measured.out.c_str());
}

// Beside other libraries, which have no pumps between their processes.
static void row_peers(bench_report &report)
{
    one_core pinned;
    standin_server where;
    client c(where);
    for (const auto &peer : peers()) {
        const std::string name = peer.filename();
        report.compare("small call on one core", "us",
                       {{"library", at_most(0.6), microseconds_of([&] { c.trip(); })},
                        {name.c_str(), {}, [&] { return 1e6 / trips * peer_seconds(peer); }}});
    }
}

// --- Arrays ----------------------------------------------------------------------------------

namespace {
// The arrays of a problem of so many bytes.
struct model {
    static constexpr int percolumn = 19;                                     // nonzeros
    static constexpr size_t columnbytes = 4 * sizeof(double) + sizeof(int) + // matbeg is as wide
                                          percolumn * (sizeof(int) + sizeof(double));
    size_t numcols;
    std::vector<double> column = std::vector<double>(numcols, 1.0);
    std::vector<int64_t> matbeg = std::vector<int64_t>(numcols);
    std::vector<int> matcnt = std::vector<int>(numcols, percolumn);
    std::vector<int> matind = std::vector<int>(numcols * percolumn);
    std::vector<double> matval = std::vector<double>(numcols * percolumn, 1.0);

    explicit model(size_t bytes) : numcols(bytes / columnbytes)
    {
        for (size_t j = 0; j < numcols; j++)
            matbeg[j] = static_cast<int64_t>(j * percolumn);
    }
    void put(const client &c, size_t bytes) const
    {
        int rc = VNTLcopylp(c.env, c.lp, static_cast<int>(bytes / columnbytes), 0, VNT_MIN,
                            column.data(), nullptr, nullptr, matbeg.data(), matcnt.data(),
                            matind.data(), matval.data(), column.data(), column.data(), nullptr);
        bench_must(rc == 0, "copylp");
    }
};

// The same bytes both ways, through a worker and through a bare relay.
struct array_bench {
    size_t most;
    relay bare;
    standin_server where;
    client c;
    std::vector<double> x;
    model m;

    explicit array_bench(size_t bytes)
        : most(bytes), c(where, static_cast<int64_t>(bytes / sizeof(double))),
          x(bytes / sizeof(double)), m(bytes)
    {
    }
    void put(size_t bytes) const { m.put(c, bytes); }
    void get(size_t bytes)
    {
        int last = static_cast<int>(bytes / sizeof(double)) - 1;
        bench_must(VNTLgetx(c.env, c.lp, x.data(), 0, last) == 0, "getx");
    }
    void put_bare(size_t bytes)
    {
        char down[8];
        bare.exchange(reinterpret_cast<char *>(x.data()), bytes, down, sizeof down);
    }
    void get_bare(size_t bytes)
    {
        char up[80] = {};
        bare.exchange(up, sizeof up, reinterpret_cast<char *>(x.data()), bytes);
    }
};
} // namespace

template <class Work> static std::function<double()> rate_of(size_t bytes, Work work)
{
    return [=] { return double(bytes) / MB / bench_seconds([&] { work(bytes); }); };
}

// The median of many, so that one measurement is steady.
template <class Once> static std::function<double()> median_of(Once once)
{
    static constexpr int times = 50;
    return [=] {
        std::vector<double> all;
        for (int i = 0; i < times; i++)
            all.push_back(once());
        return bench_figure_of(all).median;
    };
}

static void measure_arrays(bench_report &report, size_t bytes, double putgoal, double getgoal)
{
    array_bench b(bytes);
    std::string size = std::to_string(bytes / 1000000) + " MB";
    report.compare("put " + size, "MB/s",
                   {{"library", at_least(putgoal), rate_of(bytes, [&](size_t n) { b.put(n); })},
                    {"bare", {}, rate_of(bytes, [&](size_t n) { b.put_bare(n); })}});
    report.compare("get " + size, "MB/s",
                   {{"library", at_least(getgoal), rate_of(bytes, [&](size_t n) { b.get(n); })},
                    {"bare", {}, rate_of(bytes, [&](size_t n) { b.get_bare(n); })}});
}

static void row_arrays(bench_report &report)
{
    measure_arrays(report, 32'000'000, 1.33, 0.9);
    measure_arrays(report, 256'000'000, 1.33, 0.9);
}

// How the rate holds as the arrays grow, beside a small one.
static void row_huge(bench_report &report)
{
    static constexpr size_t GiB = size_t(1) << 30, usual = 32'000'000;
    array_bench b(4 * GiB);
    b.put(4 * GiB); // the host of a virtual machine has to find so much memory the first time
    std::vector<bench_way> puts, gets;
    for (auto [name, bytes] : {std::pair{"4 GiB", 4 * GiB}, {"2 GiB", 2 * GiB}, {"1 GiB", GiB}}) {
        puts.push_back({name, at_least(0.9), rate_of(bytes, [&](size_t n) { b.put(n); })});
        gets.push_back({name, at_least(0.9), rate_of(bytes, [&](size_t n) { b.get(n); })});
    }
    puts.push_back({"32 MB", {}, median_of(rate_of(usual, [&](size_t n) { b.put(n); }))});
    gets.push_back({"32 MB", {}, median_of(rate_of(usual, [&](size_t n) { b.get(n); }))});
    report.compare_once("put", "MB/s", puts);
    report.compare_once("get", "MB/s", gets);
}

static void row_cpu(bench_report &report)
{
    static constexpr size_t bytes = 256'000'000;
    array_bench b(bytes);
    auto worker = b.where.processes(), relay = b.bare.processes();
    auto cost = [](const std::vector<pid_t> &others, const std::function<void()> &work) {
        return bench_cpu(others, work) / (double(bytes) * 1e-9);
    };
    report.compare("processor time, put", "s/GB",
                   {{"library", at_most(1), [&] { return cost(worker, [&] { b.put(bytes); }); }},
                    {"bare", {}, [&] { return cost(relay, [&] { b.put_bare(bytes); }); }}});
    report.compare("processor time, get", "s/GB",
                   {{"library", at_most(1), [&] { return cost(worker, [&] { b.get(bytes); }); }},
                    {"bare", {}, [&] { return cost(relay, [&] { b.get_bare(bytes); }); }}});
}

static void row_names(bench_report &report)
{
    static constexpr int n = 100'000;
    standin_server where;
    client c(where, n);
    std::vector<char *> names(n);
    std::vector<char> store(size_t(n) * 9);
    int64_t surplus;
    auto get = [&] {
        int rc = VNTLgetcolname(c.env, c.lp, names.data(), store.data(),
                                static_cast<int64_t>(store.size()), &surplus, 0, n - 1);
        bench_must(rc == 0, "getcolname");
    };
    auto put = [&] {
        int rc = VNTLnewcols(c.env, c.lp, n, nullptr, nullptr, nullptr, nullptr, names.data());
        bench_must(rc == 0, "newcols");
    };
    get();
    report.compare("names, put", "ns each",
                   {{"library", at_most(40), [&] { return bench_seconds(put) / n * 1e9; }}});
    report.compare("names, get", "ns each",
                   {{"library", at_most(40), [&] { return bench_seconds(get) / n * 1e9; }}});
}

// --- Connections -----------------------------------------------------------------------------

// Microseconds from fork() to a sign of life from the new process.
static double fork_alone()
{
    int ends[2];
    char sign = 0;
    pid_t id = 0;
    bench_must(pipe(ends) == 0, "pipe");
    double time = bench_seconds([&] {
        id = fork();
        if (id == 0) _exit(write(ends[1], &sign, 1) == 1 ? 0 : 1);
        bench_must(id > 0 && read(ends[0], &sign, 1) == 1, "fork");
    });
    waitpid(id, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    return time * 1e6;
}

// Microseconds to the greeting of a worker.  The end of the worker takes the processor as well, and
// has passed before the next one is asked for.
static double greeting_time(const server &where)
{
    std::unique_ptr<raw_connection> c;
    double time = bench_seconds([&] { c = std::make_unique<raw_connection>(where.port()); });
    c.reset();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return time * 1e6;
}

static void row_connect(bench_report &report)
{
    one_core pinned;
    standin_server where;
    report.compare("connect to greeting", "us",
                   {{"raw bytes", at_most(1.5), median_of([&] { return greeting_time(where); })},
                    {"fork alone", {}, median_of(fork_alone)}});
}

static void row_cycle(bench_report &report)
{
    standin_server where;
    static constexpr int cycles = 500;
    auto worker = [&] {
        for (int i = 0; i < cycles; i++)
            raw_connection(where.port()).open();
    };
    auto bare = [] {
        for (int i = 0; i < cycles; i++) {
            relay r;
            bare_trip(r);
        }
    };
    report.compare("connect, first answer, close", "per second",
                   {{"raw bytes", at_least(0.9), [&] { return cycles / bench_seconds(worker); }},
                    {"bare", {}, [&] { return cycles / bench_seconds(bare); }}});
}

// KiB of memory that the whole machine has left.
static double memory_left()
{
    std::string text = file_text("/proc/meminfo");
    return std::strtod(text.c_str() + text.find("MemAvailable:") + strlen("MemAvailable:"),
                       nullptr);
}

static constexpr int crowd = 1000;

using raw_connections = std::vector<std::unique_ptr<raw_connection>>;

static raw_connections clients_connect(const server &where, int count)
{
    raw_connections all;
    for (int i = 0; i < count; i++)
        all.push_back(std::make_unique<raw_connection>(where.port()));
    return all;
}

static void row_crowd(bench_report &report)
{
    standin_server lonely;
    standin_server where;
    raw_connections all;
    double before = memory_left();
    report.compare_once("1,000 workers", "s to connect",
                        {{"raw bytes", at_most(2), [&] {
                              return bench_seconds([&] { all = clients_connect(where, crowd); });
                          }}});
    for (auto &c : all)
        c->open();
    report.compare_once(
        "memory of an idle worker", "KiB",
        {{"of 1,000", at_most(350), [&] { return (before - memory_left()) / crowd; }}});
    one_core pinned;
    standin_server beside;
    raw_connections others = clients_connect(beside, crowd);
    standin_server none;
    report.compare(
        "connect to greeting on one core", "us",
        {{"beside 1,000 workers", at_most(2), median_of([&] { return greeting_time(beside); })},
         {"beside none", {}, median_of([&] { return greeting_time(none); })}});
}

// A minute of a thousand connections that say nothing.
static void row_idle(bench_report &report)
{
    static constexpr int length = 60;
    standin_server where;
    raw_connections all = clients_connect(where, crowd);
    for (auto &c : all)
        c->open();
    auto processes = where.processes();
    report.compare_once("1,000 idle workers", "% of a core",
                        {{"over a minute", at_most(0.1), [&] {
                              return 100.0 / length * bench_cpu(processes, [] { sleep(length); });
                          }}});
}

// --- Many at once ----------------------------------------------------------------------------

static void row_groups(bench_report &report)
{
    for (int n : {8, 32}) {
        standin_server where;
        std::vector<std::unique_ptr<client>> members;
        std::vector<VNTENVptr> envs;
        for (int i = 0; i < n; i++) {
            members.push_back(std::make_unique<client>(where));
            envs.push_back(members.back()->env);
        }
        int status = 0;
        VNTCLIENTGROUPptr group = vntclient_group_create(n, envs.data(), &status);
        VNTLPptr lp = nullptr;
        if (group != nullptr && vntclient_group_call(group) == 0)
            lp = VNTLcreateprob(envs[0], &status, "1");
        bench_must(lp != nullptr, "group");
        raw_connections hand = clients_connect(where, n);
        for (auto &c : hand)
            c->open();
        static constexpr int calls = 200;
        auto together = [&] {
            for (int i = 0; i < calls; i++)
                bench_must(vntclient_group_call(group) == 0 && VNTLgetnumrows(envs[0], lp) == 1,
                           "group");
        };
        auto byhand = [&] {
            for (int i = 0; i < calls; i++) {
                for (auto &c : hand)
                    c->send();
                for (auto &c : hand)
                    c->receive();
            }
        };
        report.compare(
            "call to " + std::to_string(n) + " workers", "us",
            {{"group", at_most(1.1), [&] { return bench_seconds(together) / calls * 1e6; }},
             {"written and read by hand", {}, [&] {
                  return bench_seconds(byhand) / calls * 1e6;
              }}});
        vntclient_group_destroy(&group);
    }
}

// Lets each client make calls in a thread of its own for a while: calls per second of each.
template <class Client> static std::vector<double>
rates_together(const std::vector<std::unique_ptr<Client>> &clients, void (*trip)(Client &))
{
    static constexpr double time = 0.5;
    std::vector<double> counts(clients.size());
    std::atomic<bool> over = false;
    std::vector<std::thread> threads;
    for (size_t i = 0; i < clients.size(); i++)
        threads.emplace_back([&, i] {
            for (; !over; counts[i] += 1 / time)
                trip(*clients[i]);
        });
    usleep(static_cast<useconds_t>(time * 1e6));
    over = true;
    for (std::thread &t : threads)
        t.join();
    return counts;
}

static double sum(const std::vector<double> &all)
{
    double s = 0;
    for (double v : all)
        s += v;
    return s;
}

// A client that calls now and then, beside one that does nothing else, all on one core.
static void row_greedy(bench_report &report)
{
    static constexpr int calls = 200;
    one_core pinned;
    standin_server where;
    client greedy(where), modest(where);
    auto now_and_then = [&] {
        double taken = 0;
        for (int i = 0; i < calls; i++) {
            usleep(1000);
            taken += bench_seconds([&] { modest.trip(); });
        }
        return 1e6 / calls * taken;
    };
    auto beside = [&] {
        std::atomic<bool> stop = false;
        std::thread loop([&] {
            while (!stop)
                greedy.trip();
        });
        double taken = now_and_then();
        stop = true;
        loop.join();
        return taken;
    };
    report.compare("a call now and then on one core", "us",
                   {{"beside a loop of calls", {}, beside}, {"alone", {}, now_and_then}});
}

static void row_many(bench_report &report)
{
    for (int n : {1, 8, 32, 128}) {
        standin_server where;
        std::vector<std::unique_ptr<relay>> bare;
        std::vector<std::unique_ptr<client>> clients;
        for (int i = 0; i < n; i++)
            bare.push_back(std::make_unique<relay>());
        for (int i = 0; i < n; i++)
            clients.push_back(std::make_unique<client>(where));
        std::string what = std::to_string(n) + (n == 1 ? " client" : " clients together");
        auto rates = [&] { return rates_together<client>(clients, [](client &c) { c.trip(); }); };
        report.compare(
            what, "calls/s",
            {{"library", n == 1 ? bench_goal{} : at_least(1.1), [&] { return sum(rates()); }},
             {"bare", {}, [&] { return sum(rates_together<relay>(bare, bare_trip)); }}});
        if (n == 1) continue;
        report.compare(what, "of the mean", {{"the slowest", at_least(0.7), [&] {
                                                  auto all = rates();
                                                  return *std::min_element(all.begin(), all.end()) *
                                                         n / sum(all);
                                              }}});
    }
}

// --- Asynchronous calls ----------------------------------------------------------------------

static void row_async(bench_report &report)
{
    for (int milliseconds : {10, 100, 1000}) {
        standin_server where;
        client c(where, milliseconds);
        int solves = std::max(1, 200 / milliseconds);
        auto solve = [&](bool started) {
            return 1e3 / solves * bench_seconds([&] {
                       for (int i = 0; i < solves; i++) {
                           bench_must(!started || vntclient_start(c.env) == 0, "start");
                           bench_must(VNTLmipopt(c.env, c.lp) == 0, "solve");
                           bench_must(!started || vntclient_join(c.env) == 0, "join");
                       }
                   });
        };
        report.compare("solve of " + std::to_string(milliseconds) + " ms", "ms",
                       {{"asynchronous", at_most(1.005), [&] { return solve(true); }},
                        {"synchronous", {}, [&] { return solve(false); }}});
    }
}

// --- The whole -------------------------------------------------------------------------------

static const struct {
    const char *name;
    void (*measure)(bench_report &report);
} rows[] = {
    // Those that fork stand before those that fill memory.
    {"small", row_small}, {"peers", row_peers},   {"free", row_free},     {"connect", row_connect},
    {"cycle", row_cycle}, {"names", row_names},   {"groups", row_groups}, {"many", row_many},
    {"async", row_async}, {"arrays", row_arrays}, {"cpu", row_cpu},       {"crowd", row_crowd},
    {"huge", row_huge},   {"greedy", row_greedy}, {"idle", row_idle},
};

// A descriptor for each of a thousand connections.
static void limit_raise()
{
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

static std::vector<std::string> all_rows()
{
    std::vector<std::string> names;
    for (const auto &row : rows)
        names.emplace_back(row.name);
    return names;
}

int main(int argc, char **argv)
{
    CLI::App app("Measures the way to a worker and back, beside a bare relay of the same shape.");
    int rounds = 5;
    std::string json;
    std::vector<std::string> wanted = all_rows();
    app.add_option("--rounds", rounds, "rounds, of which the table has the medians")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--json", json, "the table's figures also as JSON")->type_name("FILE");
    app.add_option("ROW", wanted, "rows of the table; all without one")
        ->check(CLI::IsMember(all_rows()));
    CLI11_PARSE(app, argc, argv);

    // Opened before the minutes of measuring.
    FILE *f = json.empty() ? nullptr : fopen(json.c_str(), "w");
    bench_must(json.empty() || f != nullptr, json.c_str());
    limit_raise();
    bench_report report(rounds);
    for (const auto &row : rows)
        if (std::find(wanted.begin(), wanted.end(), row.name) != wanted.end()) row.measure(report);
    report.print_table(stdout);
    if (f == nullptr) return 0;
    report.print_json(f);
    fclose(f);
    return 0;
}
