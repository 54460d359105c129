// vnttop: shows what a worker server does.

#include "tools/commandline.h"
#include "tools/output.h"
#include "tools/terminal.h"
#include "tools/topserve.h"
#include "tools/toptable.h"

#include <chrono>
#include <cstdlib>
#include <fmt/format.h>
#include <unistd.h>

namespace vnt {

namespace {
struct top_options {
    std::string socket, listen;
    bool once = false, json = false;
    std::optional<int> end;
    double interval = 2;
};
} // namespace

static int tell(const std::string &text)
{
    output_result(text);
    return EXIT_SOLVED;
}

static double now()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

static int once_show(const top_options &o)
{
    const server_status s = status_fetch(o.socket);
    return tell(top_table(s, loads_between(nullptr, s, 0), 80, INT_MAX));
}

// Without an answer the screen says why, and the looks go on: a server may be started again.
static int live_show(const top_options &o)
{
    std::optional<server_status> last = status_fetch(o.socket); // at first, its lack is an error
    worker_loads loads = loads_between(nullptr, *last, 0);
    std::string trouble;
    double then = now();
    const terminal screen;
    for (;;) {
        const int width = screen.width(), height = screen.height();
        screen.draw(last ? top_table(*last, loads, width, height)
                         : trouble.substr(0, width) + "\n");
        const terminal::event event = screen.wait(o.interval);
        if (event == terminal::QUIT) return EXIT_SOLVED;
        if (event == terminal::RESIZED) continue;
        try {
            const server_status s = status_fetch(o.socket);
            loads = loads_between(last ? &*last : nullptr, s, now() - then);
            last = s;
            then = now();
        } catch (const failure &what) {
            last.reset();
            trouble = what.message;
        }
    }
}

static int act(const top_options &o)
{
    if (o.end) {
        status_end(o.socket, *o.end);
        return tell(fmt::format("worker {} is ended\n", *o.end));
    }
    if (!o.listen.empty()) {
        top_serve(o.socket, o.listen, o.interval);
        return EXIT_SOLVED;
    }
    if (o.json) return tell(top_json(status_fetch(o.socket)));
    return o.once || isatty(STDOUT_FILENO) == 0 ? once_show(o) : live_show(o);
}

static void declare(CLI::App &app, top_options &o)
{
    const char *socket = getenv("VANTO_STATUS");
    o.socket = socket != nullptr ? socket : "";
    app.set_help_flag("--help", "print this text");
    app.set_version_flag("--version", "vnttop " VNT_VERSION, "print the version");
    app.add_option("--socket", o.socket, "the server's status socket; else VANTO_STATUS names it")
        ->type_name("PATH");
    auto *once = app.add_flag("--once", o.once, "print the table once");
    auto *json = app.add_flag("--json", o.json, "print one JSON object");
    auto *end = app.add_option("--end", o.end, "end this worker")
                    ->type_name("ID")
                    ->check(value_whole("the number of a worker", 1));
    auto *listen = app.add_option("--listen", o.listen,
                                  "serve a page and, at /metrics, figures for Prometheus");
    listen->type_name("HOST:PORT")->check(value_nonempty("HOST:PORT"));
    app.add_option("--interval", o.interval, "time between two looks (2; 10 with --listen)")
        ->type_name("SECONDS")
        ->check(value_real("a number of seconds from 0.1 to 3600", 0.1, 3600));
    for (auto *one : {once, json, end, listen})
        for (auto *other : {once, json, end, listen})
            if (one != other) one->excludes(other);
    app.footer("Without --once, --json, --end and --listen a table is drawn until q is pressed.");
}

static int options_read(CLI::App &app, top_options &o, int argc, char **argv)
{
    commandline_style(app);
    declare(app, o);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &asked) {
        return app.exit(asked);
    } catch (const CLI::ParseError &wrong) {
        throw failure{EXIT_USAGE, fmt::format("{} (--help lists the options)", wrong.what())};
    }
    if (o.socket.empty())
        throw failure{EXIT_USAGE, "--socket PATH is missing: the one of vntworker -status=PATH"};
    if (!o.listen.empty() && app.count("--interval") == 0) o.interval = 10;
    return -1;
}

static int run(int argc, char **argv)
{
    CLI::App app("Shows what a worker server does.", "vnttop");
    top_options o;
    try {
        const int status = options_read(app, o, argc, argv);
        return status >= 0 ? status : act(o);
    } catch (const failure &what) {
        fmt::print(stderr, "vnttop: {}\n", what.message);
        return what.status;
    }
}

} // namespace vnt

int main(int argc, char **argv)
{
    vnt::output_begin();
    return vnt::run(argc, argv);
}
