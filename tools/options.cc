#include "tools/options.h"

#include "remote/base/pool.h"
#include "tools/commandline.h"
#include "tools/output.h"
#include "vanto_remote.h"

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>

namespace vnt {

static std::string nonempty(const char *text, const char *otherwise)
{
    return text != nullptr && *text != '\0' ? text : otherwise;
}

std::string address_parse(const std::string &text)
{
    if (const char *file = pool_file(text.c_str()); file != nullptr && *file != '\0') return text;
    if (pool_file(text.c_str()) != nullptr || !address_is_valid(text.c_str()))
        throw failure{EXIT_USAGE, fmt::format("'{}' is not HOST:PORT, unix:PATH or @FILE", text)};
    const bool complete = address_path(text.c_str()) != nullptr ||
                          (text.back() != ']' && text.find(':') != std::string::npos);
    return complete ? text : text + ":" VNTREMOTE_DEFAULT_PORT;
}

static bool stands_alone(const char *host)
{
    return pool_file(host) != nullptr || address_path(host) != nullptr;
}

static std::optional<std::string> address_fromenvironment()
{
    const std::string host = nonempty(getenv("TESK_VANTO_TCPIP_HOST"), "");
    const std::string port = nonempty(getenv("TESK_VANTO_TCPIP_PORT"), "");
    if (host.empty() && port.empty()) return std::nullopt;
    if (stands_alone(host.c_str())) return address_parse(host);
    return nonempty(host.c_str(), VNTREMOTE_DEFAULT_HOST) + ':' +
           nonempty(port.c_str(), VNTREMOTE_DEFAULT_PORT);
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

static std::string file_name(const std::string &text)
{
    if (text == "-") return "the name of a file is expected; standard output is /dev/stdout";
    return value_nonempty("the name of a file")(text);
}

using option = CLI::Option;

// Declares an option whose value is the name of a file.
static option *declare_file(CLI::App &app, const char *name, std::string &value, const char *text)
{
    return app.add_option(name, value, text)->type_name("FILE")->check(file_name);
}

// What to solve and with which settings.  Returns the options that a solve under way cannot take.
static std::vector<option *> declare_model(CLI::App &app, command_line &line)
{
    solve_options &o = line.options;
    auto *format = app.add_option("--format", o.format,
                                  "the model's format, if its name does not "
                                  "end in it: mps, qps, lp or min");
    format->type_name("FORMAT")->check(CLI::IsMember({"mps", "qps", "lp", "min"}));
    auto *limit = app.add_option("--time-limit", o.timelimit, "stop after so much time");
    auto *param =
        app.add_option("--param", line.params, "set a parameter of the solver; may be repeated");
    return {
        app.add_option("MODEL", o.model,
                       "the model: .mps, .qps, .lp or .min, also compressed by gzip, bzip2 or xz; "
                       "- for standard input, with --format"),
        format,
        limit->type_name("SECONDS")->check(
            value_real("a number of seconds from 0 on", 0, HUGE_VAL)),
        param->type_name("NAME=VALUE")->allow_extra_args(false),
        declare_file(app, "--read-params", o.paramsin, "read parameters first"),
        declare_file(app, "--read-basis", o.basisin, "begin with a basis, for LPs"),
        declare_file(app, "--read-start", o.startin, "begin with a solution, for MIPs"),
    };
}

// Where to solve.
static std::vector<option *> declare_place(CLI::App &app, command_line &line)
{
    auto *server = app.add_option("--server", line.server,
                                  "solve in a worker of the server at HOST:PORT or "
                                  "unix:PATH, or of one of those that @FILE lists");
    auto *local = app.add_flag("--local", line.local, "solve in this process");
    server->type_name("ADDRESS")->excludes(local);
    app.add_option("--connect-timeout", line.options.connecttimeout,
                   "how long reaching the server may take (10)")
        ->type_name("SECONDS")
        ->check(value_real("a number of seconds above 0", DBL_MIN, DBL_MAX))
        ->excludes(local);
    return {server, local};
}

// What to print and to write.  Returns the options for which there must be a result.
static std::vector<option *> declare_output(CLI::App &app, solve_options &o)
{
    app.add_flag("--quiet", o.quiet, "no log, no progress, no summary");
    auto *json = app.add_flag("--json", o.json, "print one JSON object instead of a summary");
    return {
        app.add_flag("--solution", o.solution, "the JSON object has the solution")->needs(json),
        declare_file(app, "--write-solution", o.solutionfile, "write the solution to a file"),
        declare_file(app, "--write-basis", o.basisfile, "write the basis to a file, for LPs"),
        declare_file(app, "--write-model", o.modelfile, "write the model to a file, .mps or .lp"),
        declare_file(app, "--progress", o.progressfile, "write the progress, JSON line by line"),
        declare_file(app, "--report", o.reportfile, "write a report as one HTML page"),
    };
}

static void exclude(option *one, const std::vector<option *> &others)
{
    for (option *other : others)
        one->excludes(other);
}

// Solves that outlive the client.  Each of these excludes what has no meaning with it.
static void declare_tickets(CLI::App &app, solve_options &o, std::vector<option *> solving,
                            const std::vector<option *> &results)
{
    auto *detach = declare_file(app, "--detach", o.detachfile,
                                "start the solve and leave; the file leads back to it");
    auto *resilient = declare_file(app, "--resilient", o.resilientfile,
                                   "outlive a broken connection; meanwhile the file leads back");
    detach->excludes(resilient);
    exclude(detach, results); // nothing is there yet when it leaves
    solving.insert(solving.end(), {detach, resilient});
    auto ticket = [&](const char *name, const char *text, auto action) {
        auto *option = app.add_option_function<std::string>(
            name,
            [&o, action](const std::string &file) {
                o.ticketfile = file;
                o.action = action;
            },
            text);
        exclude(option->type_name("FILE")->check(file_name), solving);
        solving.push_back(option);
        return option;
    };
    ticket("--attach", "take up the solve that a file leads to", solve_options::ATTACH);
    auto *status = ticket("--status", "tell how that solve stands", solve_options::STATUS);
    auto *kill = ticket("--kill", "end that solve and its worker", solve_options::KILL);
    for (option *one : {status, kill})
        exclude(one, results);
}

// What goes with one model, not with a sweep of many.
static constexpr const char *of_one_model[] = {
    "MODEL",       "--format",   "--read-basis",     "--read-start",
    "--json",      "--solution", "--write-basis",    "--write-model",
    "--progress",  "--report",   "--write-solution", "--detach",
    "--resilient", "--attach",   "--status",         "--kill",
    "--params",
};

// All models of a directory.
static void declare_sweep(CLI::App &app, solve_options &o)
{
    auto *directory = app.add_option_function<std::string>(
        "--sweep",
        [&o](const std::string &name) {
            o.sweepdirectory = name;
            o.action = solve_options::SWEEP;
        },
        "solve every model of a directory, many at once");
    directory->type_name("DIRECTORY")->check(value_nonempty("the name of a directory"));
    for (const char *name : of_one_model)
        directory->excludes(app.get_option(name));
    auto *output = declare_file(app, "--output", o.outputfile,
                                "a line of JSON for each model of the sweep; models that have one "
                                "there are done");
    auto *jobs =
        app.add_option("--jobs", o.jobs, "how many models at once (the processors of the servers)");
    directory->needs(output->needs(directory));
    jobs->type_name("NUMBER")->check(value_whole("a number from 1 on", 1))->needs(directory);
}

static void declare_options(CLI::App &app, command_line &line)
{
    solve_options &o = line.options;
    std::vector<option *> solving = declare_model(app, line), place = declare_place(app, line);
    const std::vector<option *> results = declare_output(app, o);
    auto *params = app.add_flag_callback(
        "--params", [&o] { o.action = solve_options::PARAMS; }, "list the solver's parameters");
    exclude(params, solving);
    exclude(params, results);
    solving.insert(solving.end(), place.begin(), place.end());
    solving.push_back(params);
    declare_tickets(app, o, solving, results);
    declare_sweep(app, o);
    app.set_version_flag("--version", "vntsolve " VNT_VERSION, "print the version");
    app.footer(
        "Without --server and --local, the server is the one that TESK_VANTO_TCPIP_HOST and\n"
        "TESK_VANTO_TCPIP_PORT name; when neither is set, this process solves.\n\n" +
        exits_help());
}

// The checks that the parser cannot express.
static void check_options(const solve_options &o)
{
    if (o.model.empty() && o.action == solve_options::SOLVE)
        throw failure{EXIT_USAGE, "a MODEL is required (--help lists the options)"};
    if (o.model == "-" && o.format.empty())
        throw failure{EXIT_USAGE,
                      "a model from standard input needs --format: mps, qps, lp or min"};
    if (!o.server && !(o.detachfile + o.resilientfile).empty())
        throw failure{EXIT_USAGE, "--detach and --resilient need a server"};
}

std::optional<solve_options> options_parse(int argc, const char *const *argv)
{
    command_line line;
    CLI::App app("Solves an optimization model, on a worker server or in this process.",
                 "vntsolve");
    commandline_style(app);
    declare_options(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        output_result(app.help());
        return std::nullopt;
    } catch (const CLI::CallForVersion &version) {
        output_result(version.what() + std::string("\n"));
        return std::nullopt;
    } catch (const CLI::ParseError &error) {
        throw failure{EXIT_USAGE, fmt::format("{} (--help lists the options)", error.what())};
    }
    solve_options &o = line.options;
    if (app.count("--server") > 0)
        o.server = address_parse(line.server);
    else if (!line.local && o.ticketfile.empty())
        o.server = address_fromenvironment();
    for (const std::string &param : line.params)
        o.params.push_back(param_parse(param));
    check_options(o);
    return o;
}

} // namespace vnt
