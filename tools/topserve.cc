#include "tools/topserve.h"

#include "tools/metrics.h"
#include "tools/number.h"
#include "tools/toppage.h"
#include "tools/watch.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fmt/format.h>
#include <httplib.h>

namespace vnt {

namespace {
struct place {
    std::string host;
    uint16_t port;
};
} // namespace

static place place_parse(const std::string &text)
{
    const size_t colon = text.rfind(':');
    place p = {text.substr(0, colon), 0};
    if (colon == 0 || colon == std::string::npos ||
        !number_parse(std::string_view(text).substr(colon + 1), &p.port))
        throw failure{EXIT_USAGE, fmt::format("--listen {}: HOST:PORT is expected", text)};
    if (p.host.size() > 2 && p.host.front() == '[' && p.host.back() == ']')
        p.host = p.host.substr(1, p.host.size() - 2);
    return p;
}

static std::string metrics_now(const std::string &socket)
{
    try {
        return metrics_text(status_fetch(socket));
    } catch (const failure &) {
        return metrics_text(std::nullopt);
    }
}

static void routes_set(httplib::Server &http, const std::string &socket, const watch &w)
{
    http.Get("/metrics", [&](const httplib::Request &, httplib::Response &answer) {
        answer.set_content(metrics_now(socket), "text/plain; version=0.0.4; charset=utf-8");
    });
    http.Get("/data", [&](const httplib::Request &, httplib::Response &answer) {
        answer.set_content(w.json(), "application/json");
    });
    http.Get("/", [](const httplib::Request &, httplib::Response &answer) {
        answer.set_header("Content-Security-Policy",
                          "default-src 'none'; style-src 'unsafe-inline'; "
                          "script-src 'unsafe-inline'; connect-src 'self'; img-src data:");
        answer.set_content(top_page(), "text/html; charset=utf-8");
    });
}

static int bind_to(httplib::Server &http, const place &p)
{
    // Not the library's own choice, by which two programs can share a port.
    http.set_socket_options([](int fd) {
        const int on = 1;
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    errno = 0;
    const int port = p.port == 0                         ? http.bind_to_any_port(p.host)
                     : http.bind_to_port(p.host, p.port) ? p.port
                                                         : -1;
    if (port < 0) // a host without an address leaves no errno
        throw failure{EXIT_CONNECTION,
                      fmt::format("{}:{} cannot be listened on: {}", p.host, p.port,
                                  errno != 0 ? strerror(errno) : "no such host")};
    return port;
}

void top_serve(const std::string &socket, const std::string &address, double period)
{
    const place p = place_parse(address);
    sigset_t ends;
    sigemptyset(&ends);
    for (int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&ends, signal);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr); // all threads inherit it
    signal(SIGPIPE, SIG_IGN);
    httplib::Server http;
    http.new_task_queue = [] { return new httplib::ThreadPool(4); };
    const int port = bind_to(http, p);
    const watch w(socket, period);
    routes_set(http, socket, w);
    std::thread serving([&] { http.listen_after_bind(); });
    fmt::print("Page and metrics at http://{}:{}/ and /metrics\n",
               p.host.find(':') != p.host.npos ? '[' + p.host + ']' : p.host, port);
    fflush(stdout);
    int signal;
    sigwait(&ends, &signal);
    http.stop();
    serving.join();
}

} // namespace vnt
