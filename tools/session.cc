#include "tools/session.h"

#include "remote/base/pool.h"
#include "tools/files.h"
#include "tools/interrupt.h"
#include "tools/output.h"
#include "tools/params.h"
#include "tools/report.h"
#include "tools/solution.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>

namespace vnt {

static bool is_remote(const solve_options &options)
{
    return options.server || !options.ticketfile.empty();
}

static bool keeps_history(const solve_options &wanted)
{
    return !wanted.reportfile.empty() || wanted.action == solve_options::STATUS;
}

// A look at a solve and its end show nothing of its log.
static bool is_quiet(const solve_options &wanted)
{
    return wanted.quiet || wanted.action == solve_options::STATUS ||
           wanted.action == solve_options::KILL;
}

session::session(const solve_options &wanted)
    : options(wanted), solver(solverlib_open(is_remote(wanted))),
      past(wanted.progressfile, keeps_history(wanted)), shown(is_quiet(wanted), past),
      server(wanted.server.value_or("")),
      model(wanted.model == "-" ? "standard input" : wanted.model),
      started(std::chrono::system_clock::now())
{
    if (wanted.connecttimeout && is_remote(wanted))
        solver.vntclient_connecttimeout(
            static_cast<int>(std::min(*wanted.connecttimeout * 1000 + 0.5, 1e9)));
}

// Where it cannot be written anew, for the disk is full, the ticket of the beginning leads back.
static void renew_ticket(session &s, const std::string &file)
{
    try {
        session_writeticket(s, file);
    } catch (const failure &) {
        if (access(file.c_str(), R_OK) != 0) throw;
    }
}

// The result of hours must not be lost because a disk is full: the worker keeps it.
static void keep_result(session &s)
{
    const std::string file = s.options.ticketfile + s.options.resilientfile;
    try {
        renew_ticket(s, file);
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
    const std::string ticket = options.ticketfile + options.resilientfile;
    if (!reported || ticket.empty()) return;
    // Only now: a worker that waits for its next client must not be without a ticket.
    if (closed)
        unlink(ticket.c_str());
    else
        output_complaint(
            fmt::format("a worker may be left on {}: vntsolve --attach {}", server, ticket));
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
    const bool named = more.starts_with(what + ": "); // the reason of a file's failure
    for (const status_row &row : statuses)
        if (row.status == status)
            throw failure{row.exit,
                          named ? more
                                : fmt::format("{}: {}", what, row.text.empty() ? more : row.text)};
    throw failure{EXIT_INTERNAL, fmt::format("{}: the solver says {}{}{}", what, status,
                                             more.empty() ? "" : ": ", more)};
}

void session_openenv(session &s)
{
    int status = 0;
    if (!s.options.server) {
        s.env = s.solver.VNTLopenVANTO(&status);
        session_check(s, s.env != nullptr ? 0 : status, "opening the solver");
        return;
    }
    if (const char *pool = pool_file(s.server.c_str())) file_check_readable(pool);
    const std::string address = "-address=" + s.server;
    const char *arguments[] = {address.c_str()};
    s.env = s.solver.vntclient_open(1, arguments, &status);
    const exit_status exit = status == VNTERR_BAD_ARGUMENT ? EXIT_USAGE : EXIT_CONNECTION;
    if (s.env == nullptr) throw failure{exit, s.solver.vntclient_errortext()};
    s.server = s.solver.vntclient_address(s.env);
}

static void say_line(void *shown, const char *text)
{
    static_cast<display *>(shown)->say(text);
}

static void log_line(void *shown, const char *text)
{
    static_cast<display *>(shown)->log(text);
}

// Errors are printed even when the user wants quiet.
static void watch_channels(session &s)
{
    VNTCHANNELptr results, warnings, errors, log;
    session_check(s, s.solver.VNTLgetchannels(s.env, &results, &warnings, &errors, &log),
                  "channels");
    auto add = [&](VNTCHANNELptr channel, void (*hear)(void *, const char *)) {
        session_check(s, s.solver.VNTLaddfuncdest(s.env, channel, &s.shown, hear), "channels");
    };
    add(errors, say_line);
    if (!s.shown.wanted()) return;
    for (VNTCHANNELptr channel : {results, warnings, log})
        add(channel, log_line);
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
    const std::string &file = s.options.paramsin;
    set_loglevel(s);
    if (!file.empty()) {
        file_check_readable(file);
        session_check(s, s.solver.VNTEreadcopyparam(s.env, file.c_str(), nullptr, 0), file);
    }
    for (const auto &[name, value] : s.options.params)
        param_set(s.solver, s.env, name, value);
    if (!s.options.timelimit) return;
    session_check(s, s.solver.VNTLsetdblparam(s.env, VNT_PARAM_TIME_LIMIT, *s.options.timelimit),
                  "--time-limit");
}

// The library reads a file on this side of the connection.
static void read_model(session &s)
{
    const bool input = s.options.model == "-";
    const char *file = s.model.c_str();
    const char *format = s.options.format.empty() ? nullptr : s.options.format.c_str();
    if (!input) file_check_readable(s.model);
    std::string text;
    if (input && !file_readall(STDIN_FILENO, &text)) file_fail(s.model);
    int status = 0;
    s.lp = s.solver.VNTLcreateprob(s.env, &status, file);
    session_check(s, status, "creating the problem");
    status = s.solver.VNTEreadcopyprob(s.env, s.lp, file, input ? text.data() : nullptr,
                                       static_cast<int64_t>(text.size()), format);
    if (status == VNTERR_FILE_TYPE)
        throw failure{EXIT_MALFORMED, s.model + ": the name does not tell the format: "
                                                "--format says mps, qps, lp or min"};
    session_check(s, status, s.model);
}

static void add_start(session &s, const std::string &file)
{
    const std::vector<std::string> names = session_colnames(s);
    std::unordered_map<std::string_view, int> places;
    for (size_t j = 0; j < names.size(); j++)
        places.emplace(names[j], static_cast<int>(j));
    std::vector<int> columns;
    std::vector<double> values;
    for (const named_value &v : solution_read(file)) {
        auto found = places.find(v.name);
        if (found == places.end())
            throw failure{EXIT_MALFORMED,
                          fmt::format("{}: the model has no column {}", file, v.name)};
        columns.push_back(found->second);
        values.push_back(v.value);
    }
    const int64_t begin = 0;
    session_check(s,
                  s.solver.VNTLaddmipstarts(s.env, s.lp, 1, static_cast<int64_t>(values.size()),
                                            &begin, columns.data(), values.data(), nullptr,
                                            nullptr),
                  file);
}

// What the solve begins with.
static void read_beginning(session &s)
{
    const std::string &basis = s.options.basisin, &start = s.options.startin;
    if (!basis.empty()) {
        file_check_readable(basis);
        session_check(s, s.solver.VNTEreadcopybase(s.env, s.lp, basis.c_str(), nullptr, 0), basis);
    }
    if (start.empty()) return;
    file_check_readable(start);
    if (!solution_is_solvers(start)) return add_start(s, start);
    session_check(s, s.solver.VNTEreadcopymipstarts(s.env, s.lp, start.c_str(), nullptr, 0), start);
}

static constexpr double SILENCE = 2; // seconds until the user hears that there is no answer

// Takes up the environment of a ticket.  A worker may be silent for as long as it is suspended.
static int take_up(session &s, const ticket &t, const std::string &file, double patience,
                   VNTENVptr *env)
{
    const late_complaint silent(
        SILENCE, fmt::format("{}: no answer yet from the worker on {}: it may be suspended, or "
                             "another client has it",
                             file, t.server));
    return s.solver.vntclient_attachresilient(t.record.data(),
                                              static_cast<int64_t>(t.record.size()), patience, env);
}

// Refuses to overwrite a ticket whose worker may still be there, or a file that is not a ticket.
static void check_ticketfile(session &s, const std::string &file)
{
    struct stat there;
    if (stat(file.c_str(), &there) != 0) return;
    if (S_ISREG(there.st_mode) && there.st_size == 0) return;
    ticket t = ticket_read(file);
    char info[VNTCLIENT_INFO_LENGTH];
    VNTENVptr env = nullptr;
    int status = take_up(s, t, file, 0, &env);
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
    session_openenv(s);
    watch_channels(s);
    set_params(s);
    read_model(s);
    read_beginning(s);
    s.started = std::chrono::system_clock::now();
    s.shown.start(s.started);
}

void session_attach(session &s, double patience)
{
    const std::string &file = s.options.ticketfile;
    ticket t = ticket_read(file);
    s.server = t.server;
    s.model = t.model;
    s.started = t.started;
    s.shown.start(t.started);
    int status = take_up(s, t, file, patience, &s.env);
    if (status == VNTERR_CONNECTION_LOST)
        throw failure{EXIT_CONNECTION,
                      fmt::format("{}: the worker on {} is gone; the file leads nowhere any more",
                                  file, s.server)};
    session_check(s, status, file);
    if (s.solver.vntclient_getproblems(s.env, 1, &s.lp) < 1)
        throw failure{EXIT_INTERNAL, fmt::format("{}: no problem there", file)};
    watch_channels(s);
}

void session_watchinterrupt(session &s)
{
    volatile int *flag;
    if (s.options.action == solve_options::ATTACH) {
        const std::string &file = s.options.ticketfile;
        solve_report left;
        left.trouble = failure{EXIT_INTERRUPTED, "the solve goes on: vntsolve --attach " + file};
        left.running = true;
        left.server = s.server;
        flag = interrupt_watch(fmt::format("\nvntsolve: {}; interrupt again at once to end it\n",
                                           left.trouble->message),
                               s.options.json ? report_json(left, s.options.solution) : "");
    } else {
        flag = interrupt_watch();
    }
    s.solver.VNTLEsetasyncterminate(s.env, flag);
}

std::vector<std::string> session_colnames(const session &s)
{
    const int count = s.solver.VNTLgetnumcols(s.env, s.lp);
    if (count < 1) return {};
    std::vector<char *> names(count);
    int64_t surplus = 0;
    s.solver.VNTLgetcolname(s.env, s.lp, names.data(), nullptr, 0, &surplus, 0, count - 1);
    std::vector<char> store(surplus < 0 ? -surplus : 0);
    int status =
        s.solver.VNTLgetcolname(s.env, s.lp, names.data(), store.data(),
                                static_cast<int64_t>(store.size()), &surplus, 0, count - 1);
    if (status == 0 && !store.empty()) return {names.begin(), names.end()};
    std::vector<std::string> made;
    for (int j = 1; j <= count; j++)
        made.push_back(fmt::format("x{}", j));
    return made;
}

void session_writeticket(session &s, const std::string &file)
{
    int64_t length = 0;
    session_check(s, s.solver.vntclient_pack(s.env, nullptr, 0, &length), file);
    ticket t = {s.server, s.model, s.started, std::string(length, '\0')};
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
