#include "tools/session.h"

#include "tools/output.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <fmt/format.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace vnt {

static bool is_remote(const solve_options &options)
{
    return options.server || !options.attachfile.empty();
}

session::session(const solve_options &wanted)
    : options(wanted), solver(solverlib_open(is_remote(wanted))), shown(wanted.quiet),
      server(wanted.server ? address_text(*wanted.server) : ""), model(wanted.model)
{
    if (wanted.connecttimeout && is_remote(wanted))
        solver.vntclient_connecttimeout(
            static_cast<int>(std::min(*wanted.connecttimeout * 1000 + 0.5, 1e9)));
}

// The result of hours must not be lost because a disk is full: the worker keeps it.
static void keep_result(session &s)
{
    const std::string file = s.options.attachfile + s.options.resilientfile;
    try {
        session_writeticket(s, file);
        session_leave(s);
        output_complaint(
            fmt::format("the result stays on {}: vntsolve --attach {}", s.server, file));
    } catch (const failure &what) {
        output_complaint(what.message);
    }
}

session::~session()
{
    if (unreported) keep_result(*this);
    if (lp != nullptr) solver.VNTLfreeprob(env, &lp);
    const bool closed = env == nullptr || solver.VNTLcloseVANTO(&env) == 0;
    if (!reported || options.resilientfile.empty()) return;
    // Only now: a worker that waits for its next client must not be without a ticket.
    if (closed)
        unlink(options.resilientfile.c_str());
    else
        output_complaint(fmt::format("a worker may be left on {}: vntsolve --attach {}", server,
                                     options.resilientfile));
}

// What a status means to the user, and how the program ends with it.
struct status_row {
    int status;
    exit_status exit;
    std::string_view text;
};

static constexpr status_row statuses[] = {
    {VNTERR_NO_MEMORY, EXIT_INTERNAL, "out of memory"},
    {VNTERR_NOT_SUPPORTED, EXIT_INTERNAL, "the solver does not do that"},
    {VNTERR_PARAMETER_VALUE, EXIT_USAGE, "the value is outside the parameter's range"},
    {VNTERR_NOT_CONVEX, EXIT_INTERNAL, "the quadratic objective is not convex"},
    {VNTERR_NO_SOLUTION, EXIT_INTERNAL, "there is no solution"},
    {VNTERR_FILE_CREATE, EXIT_UNREADABLE, "the file cannot be created"},
    {VNTERR_FILE_OPEN, EXIT_UNREADABLE, "the file cannot be opened"},
    {VNTERR_FILE_IO, EXIT_UNREADABLE, "reading or writing failed"},
    {VNTERR_FILE_FORMAT, EXIT_MALFORMED, "the file is malformed"},
    {VNTERR_FILE_TYPE, EXIT_MALFORMED, "the type of the file is unknown"},
    {VNTERR_FILE_FEATURE, EXIT_MALFORMED, "the file has something that the solver does not do"},
    {VNTERR_REMOTE, EXIT_CONNECTION, ""}, // the client's library knows more
    {VNTERR_CONNECTION_LOST, EXIT_CONNECTION, ""},
};

void session_check(const session &s, int status, const std::string &what)
{
    if (status == 0) return;
    std::string more = s.server.empty() ? "" : s.solver.vntclient_errortext();
    for (const status_row &row : statuses)
        if (row.status == status)
            throw failure{row.exit,
                          fmt::format("{}: {}", what, row.text.empty() ? more : row.text)};
    throw failure{EXIT_INTERNAL, fmt::format("{}: the solver says {}{}{}", what, status,
                                             more.empty() ? "" : ": ", more)};
}

static void open_environment(session &s)
{
    int status = 0;
    if (!s.options.server) {
        s.env = s.solver.VNTLopenVANTO(&status);
        session_check(s, s.env != nullptr ? 0 : status, "opening the solver");
        return;
    }
    std::string host = "-host=" + s.options.server->host, port = "-port=" + s.options.server->port;
    const char *arguments[] = {host.c_str(), port.c_str()};
    s.env = s.solver.vntclient_open(2, arguments, &status);
    if (s.env == nullptr) throw failure{EXIT_CONNECTION, s.solver.vntclient_errortext()};
}

static void show_line(void *shown, const char *text)
{
    static_cast<display *>(shown)->log(text);
}

// Errors are printed even when the user wants quiet.
static void watch_channels(session &s)
{
    VNTCHANNELptr results, warnings, errors, log;
    session_check(s, s.solver.VNTLgetchannels(s.env, &results, &warnings, &errors, &log),
                  "channels");
    std::vector<VNTCHANNELptr> wanted = {errors};
    if (!s.options.quiet) wanted.insert(wanted.end(), {results, warnings, log});
    for (VNTCHANNELptr channel : wanted)
        session_check(s, s.solver.VNTLaddfuncdest(s.env, channel, &s.shown, show_line), "channels");
}

// Parses the whole text as a number.
template <class T> static bool number_parse(const std::string &text, T *value)
{
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *value);
    return error == std::errc() && end == text.data() + text.size();
}

// Finds a parameter by its name or its number.
static int param_find(session &s, const std::string &name, int *type)
{
    int number = 0;
    bool known =
        number_parse(name, &number) || s.solver.VNTLgetparamnum(s.env, name.c_str(), &number) == 0;
    if (!known || s.solver.VNTLgetparamtype(s.env, number, type) != 0)
        throw failure{EXIT_USAGE, fmt::format("--param {}: there is no such parameter", name)};
    return number;
}

template <class T> static void param_set(session &s, int (*set)(VNTENVptr, int, T), int number,
                                         const std::string &name, const std::string &text)
{
    T value;
    std::string what = fmt::format("--param {}={}", name, text);
    if (!number_parse(text, &value))
        throw failure{EXIT_USAGE, what + ": not a value of this parameter"};
    session_check(s, set(s.env, number, value), what);
}

static void set_param(session &s, const std::string &name, const std::string &text)
{
    int type = VNT_PARAMTYPE_NONE;
    int number = param_find(s, name, &type);
    switch (type) {
    case VNT_PARAMTYPE_INT: return param_set(s, s.solver.VNTLsetintparam, number, name, text);
    case VNT_PARAMTYPE_LONG: return param_set(s, s.solver.VNTLsetlongparam, number, name, text);
    case VNT_PARAMTYPE_DOUBLE: return param_set(s, s.solver.VNTLsetdblparam, number, name, text);
    }
    session_check(s, s.solver.VNTLsetstrparam(s.env, number, text.c_str()),
                  fmt::format("--param {}={}", name, text));
}

// The display shows the progress, so the solver's own progress lines are switched off.  A solve
// with a ticket is mostly disconnected and keeps them.
static void set_loglevel(session &s)
{
    int level = (s.options.detachfile + s.options.resilientfile).empty() ? 1 : 2;
    session_check(s, s.solver.VNTLsetintparam(s.env, VNT_PARAM_LOG_LEVEL, level), "log level");
}

static void set_params(session &s)
{
    set_loglevel(s);
    for (const auto &[name, value] : s.options.params)
        set_param(s, name, value);
    if (!s.options.timelimit) return;
    session_check(s, s.solver.VNTLsetdblparam(s.env, VNT_PARAM_TIME_LIMIT, *s.options.timelimit),
                  "--time-limit");
}

// The library reads the file on this side of the connection; access() gives the better message.
static void read_model(session &s)
{
    const char *file = s.model.c_str();
    if (access(file, R_OK) != 0)
        throw failure{EXIT_UNREADABLE, fmt::format("{}: {}", file, strerror(errno))};
    int status = 0;
    s.lp = s.solver.VNTLcreateprob(s.env, &status, file);
    session_check(s, status, "creating the problem");
    session_check(s, s.solver.VNTEreadcopyprob(s.env, s.lp, file, nullptr, 0, nullptr), file);
}

// Refuses to overwrite a ticket whose worker may still be there, or a file that is not a ticket.
static void check_ticketfile(const session &s, const std::string &file)
{
    struct stat there;
    if (stat(file.c_str(), &there) != 0) return;
    if (S_ISREG(there.st_mode) && there.st_size == 0) return;
    ticket t = ticket_read(file);
    auto length = static_cast<int64_t>(t.record.size());
    char info[VNTCLIENT_INFO_LENGTH];
    VNTENVptr env = nullptr;
    int status = s.solver.vntclient_attachresilient(t.record.data(), length, 0, &env);
    if (status == VNTERR_CONNECTION_LOST) return;
    if (status == 0 && s.solver.vntclient_disconnect(env, info) == 0) s.solver.VNTLcloseVANTO(&env);
    throw failure{EXIT_UNREADABLE,
                  fmt::format("{}: may lead to a solve on {}: take that up with --attach, or "
                              "remove the file",
                              file, t.server)};
}

void session_open(session &s)
{
    const std::string ticketfile = s.options.detachfile + s.options.resilientfile;
    if (!ticketfile.empty()) check_ticketfile(s, ticketfile);
    open_environment(s);
    watch_channels(s);
    set_params(s);
    read_model(s);
}

void session_attach(session &s)
{
    ticket t = ticket_read(s.options.attachfile);
    s.server = t.server;
    s.model = t.model;
    s.shown.start(t.started);
    int status = s.solver.vntclient_attachresilient(
        t.record.data(), static_cast<int64_t>(t.record.size()), SESSION_PATIENCE, &s.env);
    if (status == VNTERR_CONNECTION_LOST)
        throw failure{EXIT_CONNECTION,
                      fmt::format("{}: the worker on {} is gone", s.options.attachfile, s.server)};
    session_check(s, status, s.options.attachfile);
    if (s.solver.vntclient_getproblems(s.env, 1, &s.lp) < 1)
        throw failure{EXIT_INTERNAL, fmt::format("{}: no problem there", s.options.attachfile)};
    watch_channels(s);
}

// The solver watches this flag.  The first interrupt removes the handler.
static volatile int interrupted;

static void on_interrupt(int)
{
    interrupted = 1;
}

void session_watchinterrupt(session &s)
{
    struct sigaction action = {};
    action.sa_handler = on_interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigaction(SIGINT, &action, nullptr);
    s.solver.VNTLEsetasyncterminate(s.env, &interrupted);
}

void session_writeticket(session &s, const std::string &file)
{
    int64_t length = 0;
    session_check(s, s.solver.vntclient_pack(s.env, nullptr, 0, &length), file);
    ticket t = {s.server, s.model, std::chrono::system_clock::now(), std::string(length, '\0')};
    session_check(s, s.solver.vntclient_pack(s.env, t.record.data(), length, &length), file);
    ticket_write(file, t);
}

void session_leave(session &s)
{
    char info[VNTCLIENT_INFO_LENGTH];
    session_check(s, s.solver.vntclient_disconnect(s.env, info), s.server);
    s.lp = nullptr; // stays in the worker
}

void session_told(session &s)
{
    s.unreported = false;
    s.reported = true;
}

} // namespace vnt
