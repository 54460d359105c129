#include "tools/options.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <fmt/format.h>

static constexpr const char *defaulthost = "127.0.0.1";
static constexpr const char *defaultport = "12345";

static std::string nonempty(const char *text, const char *otherwise)
{
    return text != nullptr && *text != '\0' ? text : otherwise;
}

server_address address_parse(const std::string &text)
{
    size_t colon = text.rfind(':');
    if (!text.empty() && text.back() == ']') colon = std::string::npos;
    std::string host = text.substr(0, colon);
    std::string port = colon == std::string::npos ? defaultport : text.substr(colon + 1);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    if (host.empty() || port.empty())
        throw failure{EXIT_USAGE, fmt::format("'{}' is not HOST:PORT", text)};
    return {host, port};
}

std::string address_text(const server_address &address)
{
    bool colons = address.host.find(':') != std::string::npos;
    std::string host = colons ? '[' + address.host + ']' : address.host;
    return host + ':' + address.port;
}

static std::optional<server_address> address_fromenvironment()
{
    const char *host = getenv("TESK_VANTO_TCPIP_HOST");
    const char *port = getenv("TESK_VANTO_TCPIP_PORT");
    if (nonempty(host, "").empty() && nonempty(port, "").empty()) return std::nullopt;
    return server_address{nonempty(host, defaulthost), nonempty(port, defaultport)};
}

static std::pair<std::string, std::string> param_parse(const std::string &text)
{
    size_t equals = text.find('=');
    if (equals == 0 || equals == std::string::npos)
        throw failure{EXIT_USAGE, fmt::format("--param {}: NAME=VALUE is expected", text)};
    return {text.substr(0, equals), text.substr(equals + 1)};
}

std::optional<solve_options> options_parse(int argc, const char *const *argv)
{
    solve_options options;
    std::string server;
    std::vector<std::string> params;

    CLI::App app("Solves an optimization model, on a worker server or in this process.",
                 "vntsolve");
    app.add_option("MODEL", options.model,
                   "model file: .mps, .qps or .lp, or one of these with .gz")
        ->required();
    auto *remote = app.add_option("--server", server, "solve in a worker of this server");
    remote->type_name("HOST:PORT");
    bool local = false;
    app.add_flag("--local", local, "solve in this process")->excludes(remote);
    app.add_option("--write-solution", options.solutionfile, "write the solution to a file")
        ->type_name("FILE");
    app.add_option("--time-limit", options.timelimit, "stop after so much time")
        ->type_name("SECONDS")
        ->check(CLI::NonNegativeNumber.description(""));
    app.add_option("--param", params, "set a parameter of the solver; may be given again")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.add_flag("--quiet", options.quiet, "no log, no progress, no summary");
    app.add_flag("--json", options.json,
                 "print the result as one JSON object instead of a summary");
    app.footer(
        "Without --server and --local, the server is the one that TESK_VANTO_TCPIP_HOST and\n"
        "TESK_VANTO_TCPIP_PORT name; when neither is set, this process solves.\n\n" +
        exits_help());
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        fmt::print("{}", app.help());
        return std::nullopt;
    } catch (const CLI::ParseError &error) {
        throw failure{EXIT_USAGE, fmt::format("{} (--help lists the options)", error.what())};
    }
    if (!server.empty())
        options.server = address_parse(server);
    else if (!local)
        options.server = address_fromenvironment();
    for (const std::string &param : params)
        options.params.push_back(param_parse(param));
    return options;
}
