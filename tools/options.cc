#include "tools/options.h"

#include "tools/output.h"
#include "vanto_remote.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <fmt/format.h>

namespace vnt {

static std::string nonempty(const char *text, const char *otherwise)
{
    return text != nullptr && *text != '\0' ? text : otherwise;
}

static bool is_port(const std::string &text)
{
    uint16_t number;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number > 0;
}

server_address address_parse(const std::string &text)
{
    size_t colon = text.rfind(':');
    if (!text.empty() && text.back() == ']') colon = std::string::npos;
    std::string host = text.substr(0, colon);
    std::string port = colon == std::string::npos ? VNTREMOTE_DEFAULT_PORT : text.substr(colon + 1);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    if (host.empty() || !is_port(port))
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
    return server_address{nonempty(host, VNTREMOTE_DEFAULT_HOST),
                          nonempty(port, VNTREMOTE_DEFAULT_PORT)};
}

static std::pair<std::string, std::string> param_parse(const std::string &text)
{
    size_t equals = text.find('=');
    if (equals == 0 || equals == std::string::npos)
        throw failure{EXIT_USAGE, fmt::format("--param {}: NAME=VALUE is expected", text)};
    return {text.substr(0, equals), text.substr(equals + 1)};
}

// The options, and those values of the command line that are parsed further.
struct command_line {
    solve_options options;
    std::string server;
    bool local = false;
    std::vector<std::string> params;
};

// An unset variable in a script gives an empty name, which must not count as a missing option.
static std::string nonempty_check(const std::string &value)
{
    return value.empty() ? "a file name is expected" : "";
}

static void declare_options(CLI::App &app, command_line &line)
{
    solve_options &o = line.options;
    auto file = [&](const char *name, std::string &value, const char *text) {
        return app.add_option(name, value, text)->type_name("FILE")->check(nonempty_check);
    };
    auto *model = app.add_option("MODEL", o.model,
                                 "the model: .mps, .qps, .lp or .min, or one of these with .gz");
    auto *server = app.add_option("--server", line.server, "solve in a worker of this server")
                       ->type_name("HOST:PORT");
    auto *local = app.add_flag("--local", line.local, "solve in this process")->excludes(server);
    auto *solution = file("--write-solution", o.solutionfile, "write the solution to a file");
    auto *basis = file("--write-basis", o.basisfile, "write the basis to a file, for LPs");
    auto *copy = file("--write-model", o.modelfile, "write the model to a file, .mps or .lp");
    auto *limit = app.add_option("--time-limit", o.timelimit, "stop after so much time")
                      ->type_name("SECONDS");
    app.add_option("--connect-timeout", o.connecttimeout,
                   "how long reaching the server may take (10)")
        ->type_name("SECONDS")
        ->excludes(local);
    auto *param =
        app.add_option("--param", line.params, "set a parameter of the solver; may be repeated")
            ->type_name("NAME=VALUE")
            ->allow_extra_args(false);
    app.add_flag("--quiet", o.quiet, "no log, no progress, no summary");
    app.add_flag("--json", o.json, "print the result as one JSON object instead of a summary");
    auto *detach =
        file("--detach", o.detachfile, "start the solve and leave; the file leads back to it");
    auto *resilient = file("--resilient", o.resilientfile,
                           "outlive a broken connection; meanwhile the file leads back");
    file("--attach", o.attachfile, "take up the solve that a file leads to")
        ->excludes(model, server, local, limit, param, detach, resilient);
    detach->excludes(resilient, solution, basis, copy); // nothing is there yet when it leaves
    app.footer(
        "Without --server and --local, the server is the one that TESK_VANTO_TCPIP_HOST and\n"
        "TESK_VANTO_TCPIP_PORT name; when neither is set, this process solves.\n\n" +
        exits_help());
}

// The checks that the parser cannot express.
static void check_options(const solve_options &o)
{
    if (o.model.empty() && o.attachfile.empty())
        throw failure{EXIT_USAGE, "a MODEL is required (--help lists the options)"};
    if (!o.server && !(o.detachfile + o.resilientfile).empty())
        throw failure{EXIT_USAGE, "--detach and --resilient need a server"};
    if (o.timelimit && !(*o.timelimit >= 0))
        throw failure{EXIT_USAGE, "--time-limit: a number of seconds from 0 on is expected"};
    if (o.connecttimeout && !(*o.connecttimeout > 0))
        throw failure{EXIT_USAGE, "--connect-timeout: a number of seconds above 0 is expected"};
}

std::optional<solve_options> options_parse(int argc, const char *const *argv)
{
    command_line line;
    CLI::App app("Solves an optimization model, on a worker server or in this process.",
                 "vntsolve");
    declare_options(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        output_result(app.help());
        return std::nullopt;
    } catch (const CLI::ParseError &error) {
        throw failure{EXIT_USAGE, fmt::format("{} (--help lists the options)", error.what())};
    }
    solve_options &o = line.options;
    if (app.count("--server") > 0)
        o.server = address_parse(line.server);
    else if (!line.local && o.attachfile.empty())
        o.server = address_fromenvironment();
    for (const std::string &param : line.params)
        o.params.push_back(param_parse(param));
    check_options(o);
    return o;
}

} // namespace vnt
