#include "tools/solve.h"

#include "tools/solverlib.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <numeric>
#include <unistd.h>

static constexpr size_t largestcount = 5; // variables that the summary shows

// The solver's library and the objects of one solve; what was opened is closed again.
struct session {
    const solve_options &options;
    solver_library solver;
    VNTENVptr env = nullptr;
    VNTLPptr lp = nullptr;

    explicit session(const solve_options &wanted)
        : options(wanted),
          solver(solverlib_open(wanted.server ? "libvantoclient.so" : "libvanto.so"))
    {
    }
    session(const session &) = delete;
    session &operator=(const session &) = delete;
    ~session()
    {
        if (lp != nullptr) solver.VNTLfreeprob(env, &lp);
        if (env != nullptr) solver.VNTLcloseVANTO(&env);
    }
};

static std::string status_text(int status)
{
    switch (status) {
    case VNTERR_NO_MEMORY: return "out of memory";
    case VNTERR_NOT_SUPPORTED: return "the solver does not do that";
    case VNTERR_PARAMETER_VALUE: return "the value is outside the parameter's range";
    case VNTERR_FILE_CREATE: return "the file cannot be created";
    case VNTERR_FILE_OPEN: return "the file cannot be opened";
    case VNTERR_FILE_IO: return "reading or writing failed";
    case VNTERR_FILE_FORMAT: return "the file is malformed";
    case VNTERR_FILE_TYPE: return "the file's type is unknown";
    case VNTERR_FILE_FEATURE: return "the file has something that the solver does not do";
    case VNTERR_CONNECTION_LOST: return "the connection was lost";
    }
    return fmt::format("the solver says {}", status);
}

static exit_status status_exit(int status)
{
    switch (status) {
    case VNTERR_FILE_CREATE:
    case VNTERR_FILE_OPEN:
    case VNTERR_FILE_IO: return EXIT_UNREADABLE;
    case VNTERR_FILE_FORMAT:
    case VNTERR_FILE_TYPE:
    case VNTERR_FILE_FEATURE: return EXIT_MALFORMED;
    case VNTERR_CONNECTION_LOST: return EXIT_CONNECTION;
    case VNTERR_PARAMETER_VALUE: return EXIT_USAGE;
    }
    return EXIT_INTERNAL;
}

static void check(int status, const std::string &what)
{
    if (status != 0)
        throw failure{status_exit(status), fmt::format("{}: {}", what, status_text(status))};
}

// The client's library takes the address from the environment, as any program's would.
static void open_environment(session &s)
{
    if (s.options.server) {
        setenv("TESK_VANTO_TCPIP_HOST", s.options.server->host.c_str(), 1);
        setenv("TESK_VANTO_TCPIP_PORT", s.options.server->port.c_str(), 1);
    }
    int status = 0;
    s.env = s.solver.VNTLopenVANTO(&status);
    if (s.env != nullptr) return;
    if (!s.options.server) check(status != 0 ? status : VNTERR_NO_MEMORY, "opening the solver");
    throw failure{EXIT_CONNECTION, fmt::format("no worker from {} (status {})",
                                               address_text(*s.options.server), status)};
}

static void print_line(void *, const char *text)
{
    size_t length = strlen(text);
    fmt::print(stderr, "{}{}", text, length == 0 || text[length - 1] != '\n' ? "\n" : "");
}

// Errors are printed even when the user wants quiet.
static void watch_channels(session &s)
{
    VNTCHANNELptr results, warnings, errors, log;
    check(s.solver.VNTLgetchannels(s.env, &results, &warnings, &errors, &log), "channels");
    std::vector<VNTCHANNELptr> wanted = {errors};
    if (!s.options.quiet) wanted.insert(wanted.end(), {results, warnings, log});
    for (VNTCHANNELptr channel : wanted)
        check(s.solver.VNTLaddfuncdest(s.env, channel, nullptr, print_line), "channels");
}

// A value as the parameter's type wants it; what follows the number is a mistake.
template <class T> static T number_parse(const std::string &name, const std::string &text)
{
    T value;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        throw failure{EXIT_USAGE,
                      fmt::format("--param {}={}: not a value of this parameter", name, text)};
    return value;
}

static void set_param(session &s, const std::string &name, const std::string &text)
{
    int number = 0, type = VNT_PARAMTYPE_NONE;
    auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    bool isnumber = error == std::errc() && end == name.data() + name.size();
    if ((!isnumber && s.solver.VNTLgetparamnum(s.env, name.c_str(), &number) != 0) ||
        s.solver.VNTLgetparamtype(s.env, number, &type) != 0)
        throw failure{EXIT_USAGE, fmt::format("--param {}: there is no such parameter", name)};
    int status = VNTERR_BAD_PARAMETER;
    switch (type) {
    case VNT_PARAMTYPE_INT:
        status = s.solver.VNTLsetintparam(s.env, number, number_parse<int>(name, text));
        break;
    case VNT_PARAMTYPE_LONG:
        status = s.solver.VNTLsetlongparam(s.env, number, number_parse<int64_t>(name, text));
        break;
    case VNT_PARAMTYPE_DOUBLE:
        status = s.solver.VNTLsetdblparam(s.env, number, number_parse<double>(name, text));
        break;
    case VNT_PARAMTYPE_STRING:
        status = s.solver.VNTLsetstrparam(s.env, number, text.c_str());
        break;
    }
    check(status, fmt::format("--param {}={}", name, text));
}

static void set_params(session &s)
{
    if (!s.options.quiet) check(s.solver.VNTLsetintparam(s.env, VNT_PARAM_MESSAGES, 1), "messages");
    for (const auto &[name, value] : s.options.params)
        set_param(s, name, value);
    if (s.options.timelimit)
        check(s.solver.VNTLsetdblparam(s.env, VNT_PARAM_TIME_LIMIT, *s.options.timelimit),
              "--time-limit");
}

// The solver opens the file, on this side of a connection; looking first gives the better message.
static void read_model(session &s)
{
    const char *model = s.options.model.c_str();
    if (access(model, R_OK) != 0)
        throw failure{EXIT_UNREADABLE, fmt::format("{}: {}", model, strerror(errno))};
    int status = 0;
    s.lp = s.solver.VNTLcreateprob(s.env, &status, model);
    check(status, "creating the problem");
    check(s.solver.VNTEreadcopyprob(s.env, s.lp, model, nullptr, 0, nullptr), model);
}

// The cell that the solver watches; the handler is gone after the first interrupt.
static volatile int stopped;

static void on_interrupt(int)
{
    stopped = 1;
}

static void watch_interrupt(session &s)
{
    struct sigaction action = {};
    action.sa_handler = on_interrupt;
    action.sa_flags = SA_RESETHAND | SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    s.solver.VNTLEsetasyncterminate(s.env, &stopped);
}

static bool is_mip(int type)
{
    return type == VNT_PROB_MIP || type == VNT_PROB_MIQP || type == VNT_PROB_MIQCP;
}

static int optimize(session &s, int type)
{
    if (is_mip(type)) return s.solver.VNTLmipopt(s.env, s.lp);
    if (type == VNT_PROB_QP || type == VNT_PROB_QCP) return s.solver.VNTLqpopt(s.env, s.lp);
    return s.solver.VNTLlpopt(s.env, s.lp);
}

static std::string column_name(session &s, int column)
{
    char store[4096], *name = nullptr;
    int64_t surplus = 0;
    if (s.solver.VNTLgetcolname(s.env, s.lp, &name, store, sizeof store, &surplus, column,
                                column) != 0)
        return fmt::format("x{}", column + 1);
    return name;
}

static std::vector<named_value> largest_variables(session &s, int columns)
{
    std::vector<double> x(columns);
    if (columns == 0 || s.solver.VNTLgetx(s.env, s.lp, x.data(), 0, columns - 1) != 0) return {};
    std::vector<int> order(columns);
    std::iota(order.begin(), order.end(), 0);
    size_t count = std::min(order.size(), largestcount);
    std::partial_sort(order.begin(), order.begin() + count, order.end(), [&](int a, int b) {
        return std::abs(x[a]) != std::abs(x[b]) ? std::abs(x[a]) > std::abs(x[b]) : a < b;
    });
    std::vector<named_value> largest;
    for (size_t i = 0; i < count && x[order[i]] != 0; i++)
        largest.push_back({column_name(s, order[i]), x[order[i]]});
    return largest;
}

static void report_model(session &s, solve_report *report)
{
    report->rows = s.solver.VNTLgetnumrows(s.env, s.lp);
    report->columns = s.solver.VNTLgetnumcols(s.env, s.lp);
    report->nonzeros = s.solver.VNTLgetnumnz(s.env, s.lp);
    report->integers = s.solver.VNTLgetnumint(s.env, s.lp) + s.solver.VNTLgetnumbin(s.env, s.lp) +
                       s.solver.VNTLgetnumsemiint(s.env, s.lp);
}

static void report_solution(session &s, int type, solve_report *report)
{
    double value;
    report->stat = s.solver.VNTLgetstat(s.env, s.lp);
    bool none = report->stat == VNT_STAT_INFEASIBLE || report->stat == VNT_STAT_UNBOUNDED ||
                report->stat == VNT_STAT_INFEASIBLE_OR_UNBOUNDED;
    if (!none && s.solver.VNTLgetobjval(s.env, s.lp, &value) == 0) {
        report->objective = value;
        report->largest = largest_variables(s, report->columns);
    }
    if (is_mip(type)) {
        if (!none && s.solver.VNTLgetbestobjval(s.env, s.lp, &value) == 0) report->bound = value;
        report->iterations = s.solver.VNTLgetmipitcnt(s.env, s.lp);
        report->nodes = s.solver.VNTLgetnodecnt(s.env, s.lp);
        return;
    }
    if (report->stat == VNT_STAT_OPTIMAL) report->bound = report->objective;
    report->iterations = s.solver.VNTLgetitcnt(s.env, s.lp) + s.solver.VNTLgetbaritcnt(s.env, s.lp);
}

solve_report solve(const solve_options &options)
{
    session s(options);
    solve_report report;
    if (options.server) report.server = address_text(*options.server);
    open_environment(s);
    watch_channels(s);
    set_params(s);
    read_model(s);
    report_model(s, &report);
    watch_interrupt(s);
    int type = s.solver.VNTLgetprobtype(s.env, s.lp);
    auto start = std::chrono::steady_clock::now();
    check(optimize(s, type), options.model);
    report.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    report_solution(s, type, &report);
    if (!options.solutionfile.empty())
        check(s.solver.VNTLsolwrite(s.env, s.lp, options.solutionfile.c_str()),
              options.solutionfile);
    return report;
}
