#include "tools/solvercheck.h"

#include "tools/number.h"
#include "vanto.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fmt/format.h>
#include <map>
#include <sys/wait.h>
#include <unistd.h>

namespace vnt {

static constexpr const char *OPTION = "--check-solver";
static constexpr const char *INSIDE = "--check-solver-inside"; // the same, where the library is
static constexpr int SECONDS = 60;                             // unless another number is given

using text = const std::string &;

// What is lost without a function.
static constexpr const char *START = "no worker starts";
static constexpr const char *CALL_ALONE = "the call is refused";
static constexpr const char *COUNTED = "the call is refused, and so is what returns as many values";

// Functions that workers call on their own account.
static constexpr struct {
    const char *function, *loss;
} own_calls[] = {
    {"VNTLopenVANTO", START},
    {"VNTLcloseVANTO", START},
    {"VNTLcreateprob", START},
    {"VNTLgetchannels", "clients do not get the solver's texts"},
    {"VNTLaddfuncdest", "clients do not get the solver's texts"},
    {"VNTLEsetasyncterminate", "clients cannot end a running solve"},
    {"VNTEsetterminatefunc", "with -nothreads a running solve answers nothing"},
    {"VNTEsetpausecallbackfunc", "solves do not pause"},
    {"VNTEgetasyncmipprogress", "clients do not learn how far a solve is"},
    {"VNTEasyncprogressinject", "a solve takes no objective value from elsewhere"},
    {"VNTLgetredlp", "calls on the presolved problem are refused"},
};

static bool there(text function)
{
    return dlsym(RTLD_DEFAULT, function.c_str()) != nullptr;
}

// All functions that workers call, each with what is lost without it.
static std::map<std::string, std::string> functions_all()
{
    std::map<std::string, std::string> all;
#define SOLVER_CALL(name, function, ...) all[#function] = CALL_ALONE;
#include "remote/calls/solvercalls.def"
#define PROBLEM_QUERY(name, function, selector) all[#function] = COUNTED;
#define NETWORK_QUERY(name, function, selector) all[#function] = COUNTED;
#define SIZE_QUERY(name, selector)
#define COUNT_QUERY(name, function, selector)
#include "remote/calls/queries.def"
    for (const auto &own : own_calls)
        all[own.function] = own.loss;
    return all;
}

// Prints what is missing.  Returns whether a worker could start.
static bool functions_check()
{
    const std::map<std::string, std::string> all = functions_all();
    std::map<std::string, std::string> missing; // names by what is lost
    size_t found = 0;
    for (const auto &[function, loss] : all) {
        if (there(function))
            found++;
        else
            missing[loss] += " " + function;
    }
    fmt::print("{} of the {} functions that workers call are there\n", found, all.size());
    for (const auto &[loss, names] : missing)
        fmt::print("  {}; without them {}:{}\n", loss == START ? "needed" : "optional", loss,
                   names);
    return missing.count(START) == 0;
}

// A step is announced before it is made: the line stays when the library ends the process.
template <class Action> static bool step(const char *what, Action action)
{
    fmt::print("  {}: ", what);
    fflush(stdout);
    const std::string trouble = action();
    fmt::print("{}\n", trouble.empty() ? "ok" : trouble);
    fflush(stdout);
    return trouble.empty();
}

// The call's status in words; a function that is missing has none.
#define CALL(function, ...) call_result(#function, FIND(function), __VA_ARGS__)
#define FIND(function) reinterpret_cast<decltype(&::function)>(dlsym(RTLD_DEFAULT, #function))
template <class function, class... types>
static std::string call_result(const char *name, function f, types... arguments)
{
    if (f == nullptr) return fmt::format("{} is missing", name);
    const int status = f(arguments...);
    return status == 0 ? "" : fmt::format("{} returns status {}", name, status);
}

static std::string number_check(const char *what, double is, double expected)
{
    if (std::fabs(is - expected) < 1e-6) return "";
    return fmt::format("{} is {}, not {}", what, is, expected);
}

namespace {
// A small problem: 3 x + 2 y at most, where x <= 3, x + y <= 4.5, x + 3 y <= 7.
struct trial_problem {
    VNTENVptr env = nullptr;
    VNTLPptr lp = nullptr;
    volatile int terminate = 0;
    int polls = 0, pauses = 0;

    std::string open();
    std::string create();
    std::string fill();
    std::string install();
    std::string objective_check(double expected);
    std::string values_check();
    std::string search();
    std::string close();
};
} // namespace

std::string trial_problem::open()
{
    int status = 0;
    env = FIND(VNTLopenVANTO)(&status);
    if (status != 0) return fmt::format("VNTLopenVANTO stores status {}", status);
    return env != nullptr ? "" : "VNTLopenVANTO returns null with status 0";
}

std::string trial_problem::create()
{
    int status = 0;
    lp = FIND(VNTLcreateprob)(env, &status, "trial");
    if (status != 0) return fmt::format("VNTLcreateprob stores status {}", status);
    return lp != nullptr ? "" : "VNTLcreateprob returns null with status 0";
}

std::string trial_problem::fill()
{
    static const double objective[] = {3, 2}, rhs[] = {4.5, 7}, values[] = {1, 1, 1, 3};
    static const double lower[] = {0, 0}, upper[] = {3, VNT_INFINITY};
    static const int64_t begin[] = {0, 2};
    static const int count[] = {2, 2}, rows[] = {0, 1, 0, 1};
    return CALL(VNTLcopylp, env, lp, 2, 2, VNT_MAX, objective, rhs, "LL", begin, count, rows,
                values, lower, upper, static_cast<const double *>(nullptr));
}

static int poll_count(VNTENVptr, void *problem)
{
    static_cast<trial_problem *>(problem)->polls++;
    return 0;
}

static int pause_count(VNTENVptr, void *, uint64_t, void *problem)
{
    static_cast<trial_problem *>(problem)->pauses++;
    return 0;
}

// What a worker installs, as far as it is there.
std::string trial_problem::install()
{
    std::string trouble;
    if (there("VNTLEsetasyncterminate")) trouble = CALL(VNTLEsetasyncterminate, env, &terminate);
    if (trouble.empty() && there("VNTEsetterminatefunc"))
        trouble = CALL(VNTEsetterminatefunc, env, poll_count, this);
    if (trouble.empty() && there("VNTEsetpausecallbackfunc"))
        trouble = CALL(VNTEsetpausecallbackfunc, env, pause_count, this);
    return trouble;
}

std::string trial_problem::objective_check(double expected)
{
    double objective = NAN;
    const std::string trouble = CALL(VNTLgetobjval, env, lp, &objective);
    return trouble.empty() ? number_check("it", objective, expected) : trouble;
}

std::string trial_problem::values_check()
{
    double x[] = {NAN, NAN};
    std::string trouble = CALL(VNTLgetx, env, lp, x, 0, 1);
    if (trouble.empty()) trouble = number_check("x", x[0], 3);
    return trouble.empty() ? number_check("y", x[1], 4.0 / 3) : trouble;
}

std::string trial_problem::search()
{
    std::string trouble = CALL(VNTLcopyctype, env, lp, "II");
    if (trouble.empty()) trouble = CALL(VNTLmipopt, env, lp);
    return trouble.empty() ? objective_check(11) : trouble;
}

std::string trial_problem::close()
{
    const std::string trouble = CALL(VNTLfreeprob, env, &lp);
    return trouble.empty() ? CALL(VNTLcloseVANTO, &env) : trouble;
}

static bool solve_check()
{
    trial_problem p;
    const auto nothing = [&] {
        return CALL(VNTLsolution, p.env, p.lp, static_cast<int *>(nullptr),
                    static_cast<double *>(nullptr), static_cast<double *>(nullptr),
                    static_cast<double *>(nullptr), static_cast<double *>(nullptr),
                    static_cast<double *>(nullptr));
    };
    bool fine = step("open an environment", [&] { return p.open(); }) &&
                step("create a problem", [&] { return p.create(); }) &&
                step("fill it", [&] { return p.fill(); }) &&
                step("set the functions of a worker", [&] { return p.install(); }) &&
                step("solve", [&] { return CALL(VNTLlpopt, p.env, p.lp); }) &&
                step("objective", [&] { return p.objective_check(35.0 / 3); }) &&
                step("values", [&] { return p.values_check(); });
    if (fine && there("VNTLsolution")) fine = step("null for each output", nothing);
    if (fine && there("VNTLcopyctype") && there("VNTLmipopt"))
        fine = step("search with integers", [&] { return p.search(); });
    if (fine) fine = step("free and close", [&] { return p.close(); });
    if (fine) fmt::print("polls: {}, pauses: {}\n", p.polls, p.pauses);
    return fine;
}

// In the process that has the library in the place of the solver's.
static int inside_run()
{
    if (there("vntclient_open")) {
        fmt::print("this is the library of remote calls, or LD_PRELOAD names it\n");
        return 1;
    }
    void *library = dlopen("libvanto.so", RTLD_LAZY | RTLD_NOLOAD);
    void *open = library != nullptr ? dlsym(library, "VNTLopenVANTO") : nullptr;
    if (open != dlsym(RTLD_DEFAULT, "VNTLopenVANTO")) {
        fmt::print("another solver stands before it: look at LD_PRELOAD\n");
        return 1;
    }
    return functions_check() && solve_check() ? 0 : 1;
}

// Becomes a process that finds the library under the name libvanto.so in the folder.
[[noreturn]] static void inside_become(text folder, int64_t limit)
{
    const char *path = getenv("LD_LIBRARY_PATH");
    const std::string all = folder + (path != nullptr ? fmt::format(":{}", path) : "");
    setenv("LD_LIBRARY_PATH", all.c_str(), 1);
    alarm(unsigned(limit)); // it outlives exec
    execl("/proc/self/exe", "vntworker", INSIDE, nullptr);
    _exit(127);
}

static std::string end_text(int status, int64_t limit)
{
    if (WIFEXITED(status)) {
        const int code = WEXITSTATUS(status);
        return code < 2 ? "" : code == 127 ? "cannot be loaded" : "ended the process";
    }
    if (WTERMSIG(status) == SIGALRM)
        return fmt::format("did not come to an end within {} s", limit);
    return fmt::format("crashed: {}", strsignal(WTERMSIG(status)));
}

static int refuse(text what)
{
    fmt::print(stderr, "vntworker: {}\n", what);
    return 1;
}

static int verdict(text library, int status, int64_t limit)
{
    const std::string trouble = end_text(status, limit);
    if (!trouble.empty()) {
        fmt::print("\n");
        fflush(stdout);
        return refuse(library + " " + trouble);
    }
    if (status != 0) return refuse(library + " cannot serve");
    fmt::print("{} can serve\n", library);
    return 0;
}

bool solvercheck_asked(const std::vector<std::string> &arguments)
{
    return !arguments.empty() && (arguments[0] == OPTION || arguments[0] == INSIDE);
}

int solvercheck_run(const std::vector<std::string> &arguments)
{
    if (arguments[0] == INSIDE) return inside_run();
    int64_t limit = SECONDS;
    if (arguments.size() == 3 &&
        (!number_parse(arguments[2], &limit) || limit < 1 || limit > 86400))
        return refuse(arguments[2] + ": a number of seconds is expected, from 1 to 86400");
    if (arguments.size() < 2 || arguments.size() > 3)
        return refuse("--check-solver takes the path of a library and a number of seconds");
    char path[PATH_MAX];
    if (realpath(arguments[1].c_str(), path) == nullptr)
        return refuse(fmt::format("{}: {}", arguments[1], strerror(errno)));
    char folder[] = "/tmp/vntworker-XXXXXX";
    if (mkdtemp(folder) == nullptr) return refuse(fmt::format("{}: {}", folder, strerror(errno)));
    const std::string link = std::string(folder) + "/libvanto.so";
    const pid_t child = symlink(path, link.c_str()) == 0 ? fork() : -1;
    if (child == 0) inside_become(folder, limit);
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    unlink(link.c_str());
    rmdir(folder);
    return child > 0 ? verdict(arguments[1], status, limit) : refuse("no process can be made");
}

} // namespace vnt
