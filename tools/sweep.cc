#include "tools/sweep.h"

#include "tools/child.h"
#include "tools/output.h"
#include "tools/results.h"
#include "tools/servers.h"
#include "tools/solve.h"
#include "tools/sweepdisplay.h"

#include <algorithm>
#include <csignal>
#include <deque>
#include <filesystem>
#include <fmt/format.h>
#include <list>
#include <nlohmann/json.hpp>
#include <optional>
#include <tuple>

namespace vnt {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

static constexpr auto patience = std::chrono::minutes(1); // while no server of the pool answers
static constexpr int most_ends = 3;                       // of its workers that a model may cause

// How a child ends, beside the exit statuses.
constexpr int UNREACHED = 100; // the server did not answer
constexpr int LOST = 101;      // it was there and has gone

// --- In the child ------------------------------------------------------------------------------

static int look(const solve_options &options)
{
    try {
        session s(options);
        session_openenv(s);
        return EXIT_SOLVED;
    } catch (const failure &what) {
        return UNREACHED;
    }
}

static int solve_one(const solve_options &options)
{
    solve_report report;
    bool reached = false;
    {
        session s(options);
        try {
            report = solve(s).value();
        } catch (const failure &what) {
            report.trouble = what;
            report.server = s.server;
        }
        reached = s.env != nullptr;
    }
    output_result(report_json(report, false));
    const int status = report_exit(report);
    // The worker has ended: by its solve, or with its server?
    if (status != EXIT_CONNECTION || look(options) == EXIT_SOLVED) return status;
    return reached ? LOST : UNREACHED;
}

static int run_guarded(int (*work)(const solve_options &), const solve_options &options)
{
    try {
        return work(options);
    } catch (const std::exception &what) {
        output_complaint(what.what());
    } catch (const failure &what) {
        output_complaint(what.message);
    }
    return EXIT_INTERNAL;
}

// --- In the parent -----------------------------------------------------------------------------

namespace {

struct sweep_model {
    std::string name;
    uintmax_t size = 0;
    int ends = 0;           // workers or processes that have ended with it
    std::string avoid = {}; // the server of the last one
};

struct sweep_task {
    sweep_task(const std::function<int()> &work, sweep_server *server)
        : process(work), where(server)
    {
    }
    child process;
    sweep_server *where;
    std::optional<sweep_model> model; // none: a look for a server
};

struct sweep_state {
    const solve_options &options;
    results output;
    servers pool;
    sweep_display shown;
    sigset_t signals = {};
    std::vector<std::string> names; // of all models
    std::deque<sweep_model> waiting = {};
    std::list<sweep_task> running = {};
    bool answered = false; // a server did
    steady_clock::time_point hopeful = steady_clock::now();
    std::string trouble = {}; // why a server was not reached last

    explicit sweep_state(const solve_options &wanted)
        : options(wanted), output(wanted.outputfile), pool(wanted.server.value_or("")),
          shown(wanted.quiet)
    {
    }
};

} // namespace

static bool is_model(const fs::path &file)
{
    fs::path name = file.filename();
    auto ending = [&name] {
        std::string text = name.extension();
        std::transform(text.begin(), text.end(), text.begin(), ::tolower);
        return text;
    };
    if (ending() == ".gz" || ending() == ".bz2" || ending() == ".xz") name = name.stem();
    return ending() == ".mps" || ending() == ".qps" || ending() == ".lp" || ending() == ".min";
}

// Large models first: a long solve that begins last would leave the other processors without work.
static void find_models(sweep_state &s)
{
    std::vector<std::string> others;
    std::error_code error;
    fs::directory_iterator entry(s.options.sweepdirectory, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename();
        std::error_code none;
        if (entry->is_directory(none)) continue;
        if (!is_model(name)) {
            others.push_back(name);
            continue;
        }
        s.names.push_back(name);
        const uintmax_t size = fs::file_size(entry->path(), none);
        if (!s.output.find(name)) s.waiting.push_back({.name = name, .size = none ? 0 : size});
    }
    if (error) throw failure{EXIT_UNREADABLE, s.options.sweepdirectory + ": " + error.message()};
    std::sort(s.waiting.begin(), s.waiting.end(), [](const auto &a, const auto &b) {
        return std::tie(b.size, a.name) < std::tie(a.size, b.name);
    });
    std::sort(others.begin(), others.end());
    s.shown.skipped(others);
}

static solve_options options_for(const sweep_state &s, const sweep_server &server)
{
    solve_options o = s.options;
    o.action = solve_options::SOLVE;
    o.quiet = true;
    if (o.server) o.server = address_parse(server.address);
    return o;
}

static void start_look(sweep_state &s, sweep_server *server)
{
    server->looking = true;
    const solve_options o = options_for(s, *server);
    s.running.emplace_back([&] { return run_guarded(look, o); }, server);
}

static void start_model(sweep_state &s, sweep_server *server)
{
    sweep_model model = std::move(s.waiting.front());
    s.waiting.pop_front();
    solve_options o = options_for(s, *server);
    o.model = fs::path(s.options.sweepdirectory) / model.name;
    auto work = [&] {
        s.output.release();
        return run_guarded(solve_one, o);
    };
    s.running.emplace_back(work, server);
    s.running.back().model = std::move(model);
    server->running++;
}

static int models_running(const sweep_state &s)
{
    return static_cast<int>(std::count_if(s.running.begin(), s.running.end(),
                                          [](const sweep_task &t) { return t.model; }));
}

static void start_all(sweep_state &s)
{
    s.pool.refresh();
    while (sweep_server *server = s.pool.missing())
        start_look(s, server);
    const int jobs = s.options.jobs.value_or(s.pool.cores());
    while (!s.waiting.empty() && models_running(s) < jobs) {
        sweep_server *server = s.pool.choose(s.waiting.front().avoid);
        if (server == nullptr) break;
        start_model(s, server);
    }
}

// Throws when there is no server to wait for any more.
static void check_hope(sweep_state &s)
{
    const auto now = steady_clock::now();
    if (models_running(s) > 0) s.hopeful = now;
    if (s.answered && now - s.hopeful < patience) return;
    if (models_running(s) == 0)
        throw failure{EXIT_CONNECTION, s.trouble.empty() ? "no server answers" : s.trouble};
}

static void write_result(sweep_state &s, const sweep_model &model, const std::string &report)
{
    s.output.add(model.name, report);
    s.shown.result(model.name, report);
}

// A result of its own for a model that ended its workers or processes.
static std::string end_report(const sweep_task &task)
{
    const int status = task.process.status();
    solve_report report;
    report.server = task.where->address;
    report.trouble =
        status == EXIT_CONNECTION
            ? failure{EXIT_CONNECTION, fmt::format("its worker ended {} times", most_ends)}
            : failure{EXIT_INTERNAL,
                      fmt::format("its process ended {} times, the last time by {} {}", most_ends,
                                  status < 0 ? "signal" : "status", std::abs(status))};
    return report_json(report, false);
}

// Empty where the child could not write its report.
static std::string message_of(const nlohmann::json &report)
{
    const auto found = report.is_object() ? report.find("message") : report.end();
    return found != report.end() && found->is_string() ? found->get<std::string>() : "";
}

static void task_ended(sweep_state &s, sweep_task &task)
{
    const int status = task.process.status();
    const std::string report = task.process.out();
    sweep_model &model = *task.model;
    const auto object = nlohmann::json::parse(report, nullptr, false);
    const bool missing = status == UNREACHED || status == LOST;
    s.answered = s.answered || status != UNREACHED;
    task.where->running--;
    if (missing) {
        s.trouble = message_of(object);
        if (task.where->up) s.shown.server(task.where->address, "does not answer");
        s.pool.lost(task.where);
        s.waiting.push_front(std::move(model));
        return;
    }
    s.shown.complaint(model.name, task.process.err());
    if (status != EXIT_CONNECTION && object.is_object()) return write_result(s, model, report);
    if (++model.ends == most_ends) return write_result(s, model, end_report(task));
    model.avoid = task.where->address;
    s.waiting.push_front(std::move(model));
}

static void look_ended(sweep_state &s, const sweep_task &task)
{
    task.where->looking = false;
    if (task.process.status() != EXIT_SOLVED) return s.pool.lost(task.where);
    task.where->up = true;
    s.shown.server(task.where->address, "answers again");
}

static void collect(sweep_state &s)
{
    for (auto task = s.running.begin(); task != s.running.end();) {
        if (!task->process.ended()) {
            ++task;
            continue;
        }
        if (task->model)
            task_ended(s, *task);
        else
            look_ended(s, *task);
        task = s.running.erase(task);
    }
}

// Signals are taken one at a time by wait().  Those that are ignored stay so: nohup, "&".
static void block_signals(sweep_state &s)
{
    signal(SIGCHLD, SIG_DFL);
    sigemptyset(&s.signals);
    for (int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction now;
        if (sigaction(number, nullptr, &now) == 0 && now.sa_handler == SIG_IGN) continue;
        sigaddset(&s.signals, number);
    }
    sigprocmask(SIG_BLOCK, &s.signals, nullptr);
}

// Waits for a child's end or the next look; throws when the user wants the end.
static void wait(sweep_state &s)
{
    const struct timespec moment = {1, 0};
    const int number = sigtimedwait(&s.signals, nullptr, &moment);
    if (number > 0 && number != SIGCHLD) throw failure{EXIT_INTERRUPTED, "stopped by the user"};
}

static int count_done(const sweep_state &s)
{
    return static_cast<int>(std::count_if(s.names.begin(), s.names.end(), [&](const auto &name) {
        return s.output.find(name).has_value();
    }));
}

static void solve_all(sweep_state &s)
{
    for (;;) {
        start_all(s);
        if (s.running.empty() && s.waiting.empty()) return;
        check_hope(s);
        s.shown.progress(count_done(s), static_cast<int>(s.names.size()), models_running(s));
        wait(s);
        collect(s);
    }
}

// Says how all models have ended.
static exit_status tell(const sweep_state &s)
{
    int solved = 0, limited = 0, failed = 0;
    for (const std::string &name : s.names) {
        const int end = s.output.find(name).value_or(EXIT_INTERNAL);
        const bool known = end == EXIT_SOLVED || end == EXIT_INFEASIBLE || end == EXIT_UNBOUNDED;
        (known ? solved : end == EXIT_LIMIT || end == EXIT_INTERRUPTED ? limited : failed)++;
    }
    if (!s.options.quiet)
        output_note(fmt::format("{}: {} solved, {} stopped at a limit, {} failed\n",
                                s.options.outputfile, solved, limited, failed));
    return failed > 0 ? EXIT_INTERNAL : limited > 0 ? EXIT_LIMIT : EXIT_SOLVED;
}

exit_status sweep(const solve_options &options)
{
    sweep_state s(options);
    find_models(s);
    if (s.names.empty())
        throw failure{EXIT_UNREADABLE, options.sweepdirectory + ": there is no model in it"};
    block_signals(s);
    s.shown.begin(count_done(s), static_cast<int>(s.names.size()));
    try {
        solve_all(s);
    } catch (const failure &what) {
        s.running.clear();
        s.shown.close();
        throw failure{what.status,
                      fmt::format("{}\n{} of {} models are done; the same command goes on",
                                  what.message, count_done(s), s.names.size())};
    }
    s.shown.close();
    return tell(s);
}

} // namespace vnt
