// faults.cc: makes the calls of server, worker and client fail, one after the other, and looks
// whether a process crashes, hangs, loses an answer or leaves something behind.
//
//   faults             a sample: every 97th of the faults
//   faults --every N   every N-th of them
//   faults --all       all of them: a quarter of an hour
//   faults --all SCENARIO [ROLE]    those of one scenario, or of one of its roles
//   faults SCENARIO "ROLE CALL K ERROR MODE"    one of them again, as a finding names it
//
// A fault may cost the client its answer, with a clear message, and a worker its life.  It must
// cost no other client anything.  Only a worker, whose failures end in abort(), may end by a signal
// that was not sent to it.
#include "test/folders.h"
#include "test/process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

using namespace vnt;

namespace {

struct fault {
    std::string role, call;
    long k = 0;
    int error = 0;
    std::string mode;

    std::string text() const
    {
        return role + " " + call + " " + std::to_string(k) + " " + std::to_string(error) + " " +
               mode;
    }
};

// A row of calls.def.
struct kind_of_call {
    const char *name;
    std::vector<int> errors;
    bool moves;
};
const std::vector<kind_of_call> kinds = {
#define CALL(name, result, parameters, arguments, failed, ...) {#name, {__VA_ARGS__}, false},
#define MOVE(name, result, parameters, arguments, failed, ...) {#name, {__VA_ARGS__}, true},
#define ALLOCATE(name, parameters, arguments) {#name, {ENOMEM}, false},
#include "test/faults/calls.def"
};

typedef std::vector<std::string> words;

const seconds patience(40);

// --- One run ----------------------------------------------------------------------------------

// A server and its clients, all of them under the fault.  What goes wrong is noted, the first of
// it.
class trial {
  public:
    explicit trial(const fault *f)
    {
        shared = {"LD_PRELOAD=" + build_path("test/libfaults.so"),
                  "VNT_FAULT_REPORT=" + folder.file("report")};
        if (f != nullptr) shared.push_back("VNT_FAULT=" + f->text());
        lasting = f != nullptr && f->mode == "on";
    }

    std::string wrong;
    void note(const std::string &what)
    {
        if (wrong.empty()) wrong = what;
    }

    bool hit() const { return has(report(), "hit"); }
    std::string report() const { return file_text(folder.file("report")); }
    std::string ticket() const { return folder.file("ticket"); }

    // Starts a server.  False: it said why it cannot, which is fine.
    bool start()
    {
        worker_server = std::make_unique<process>(
            words{built("vntworker"), "-host=127.0.0.1", "-port=0"}, shared);
        const bool up = eventually(
            [&] { return address() != "" || worker_server->wait(seconds(0)) != process::unended; });
        if (!up) note("the server neither starts nor ends");
        if (address() != "") return true;
        const int status = worker_server->wait(patience);
        if (up && status <= 0) note("the server's start ends with " + std::to_string(status));
        if (up && worker_server->err().empty()) note("the server ends without a word");
        worker_server = nullptr;
        return false;
    }

    // Runs vntsolve and returns its exit status.
    int solve(const words &arguments, bool faulty, std::string *out = nullptr)
    {
        words all = {built("vntsolve"), "--quiet", "--json"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        process client(all, faulty ? shared : words{});
        // A client that was left in the middle of a solve tries to come back for as long as it
        // lives.
        const auto retries = [&] { return has(client.err(), "it is tried again"); };
        eventually(
            [&] { return client.wait(seconds(0)) != process::unended || (lasting && retries()); },
            patience);
        const int status = client.wait(seconds(0));
        if (status == process::unended && !retries())
            note("the client hangs");
        else if (status < 0)
            note("the client dies of signal " + std::to_string(-status));
        else if (status != 0 && client.err().empty() && client.out().empty())
            note("the client fails with " + std::to_string(status) + " without a word");
        if (out != nullptr) *out = client.out();
        return status;
    }

    // Solves a model whose optimum begins with those digits.  Returns whether the answer came.
    bool answers(const std::string &model, const std::string &digits, bool faulty)
    {
        std::string out;
        const int status =
            solve({source_path("test/models/" + model), "--server", address()}, faulty, &out);
        return judge(status, out, digits);
    }
    bool judge(int status, const std::string &out, const std::string &digits)
    {
        if (status != 0) return false;
        if (out.find("\"objective\": " + digits) == std::string::npos)
            note("a wrong answer:\n" + out);
        return true;
    }

    // Ends the server, which must take all workers with it.
    void stop()
    {
        const std::vector<pid_t> workers = process_children(worker_server->pid());
        worker_server->kill(SIGTERM);
        const int status = worker_server->wait(patience);
        if (status == process::unended)
            note("the server does not stop");
        else if (status < 0)
            note("the server dies of signal " + std::to_string(-status));
        for (pid_t worker : workers)
            if (!eventually([&] { return !process_alive(worker); })) note("a worker is left");
        worker_server = nullptr;
    }

    std::string address() const { return announced(worker_server->err()); }

    bool alive() const { return worker_server->wait(seconds(0)) == process::unended; }

  private:
    scratch_folder folder;
    bool lasting; // the fault does not pass
    words shared;
    std::unique_ptr<process> worker_server;
};

// --- Scenarios --------------------------------------------------------------------------------

// A fault that happens once costs one client; then the server serves as if nothing had been.
void serve_on(trial &t, const fault *f)
{
    if (f != nullptr && f->mode == "on") return;
    if (!t.alive())
        t.note("the server is gone");
    else if (!t.answers("afiro.mps", "-464.753", false) &&
             !t.answers("afiro.mps", "-464.753", false))
        t.note("later clients get no answer");
}

void synchronous(trial &t, const fault *f)
{
    if (!t.start()) return;
    const bool answered = t.answers("afiro.mps", "-464.753", true);
    if (f == nullptr && !answered) t.note("no answer without any fault");
    serve_on(t, f);
    t.stop();
}

void asynchronous(trial &t, const fault *f)
{
    if (!t.start()) return;
    t.answers("p0033.mps", "3089", true);
    serve_on(t, f);
    t.stop();
}

// Once the client that left has said that all is well, the answer must come: to the client that
// fetches it, or to the next one when that fails on the way.
void leave_and_return(trial &t, const fault *f)
{
    if (!t.start()) return;
    const std::string model = source_path("test/models/p0033.mps");
    const words leave = {model, "--server", t.address(), "--detach", t.ticket()};
    const bool left = t.solve(leave, true) == 0;
    std::string out;
    if (left) {
        const words fetch = {"--attach", t.ticket()};
        const bool came = t.judge(t.solve(fetch, true, &out), out, "3089") ||
                          t.judge(t.solve(fetch, false, &out), out, "3089");
        if (!came && f != nullptr && f->role == "client") t.note("the answer is lost");
    }
    serve_on(t, f);
    t.stop();
}

void stop_in_a_solve(trial &t, const fault *)
{
    if (!t.start()) return;
    process client(
        {built("vntsolve"), source_path("test/models/misc07.mps"), "--server", t.address()});
    eventually([&] { return client.err() != "" || client.wait(seconds(0)) != process::unended; });
    t.stop();
    if (client.wait(patience) == process::unended) t.note("the client of a stopped server hangs");
}

struct scenario {
    const char *name;
    void (*run)(trial &t, const fault *f);
};
const scenario scenarios[] = {{"synchronous", synchronous},
                              {"asynchronous", asynchronous},
                              {"leave", leave_and_return},
                              {"stop", stop_in_a_solve}};

// --- The loops --------------------------------------------------------------------------------

struct figures {
    long runs = 0, hits = 0, findings = 0;
};

// The bits of a run's exit status.
enum { HIT = 1, FINDING = 2 };

int run_one(const scenario &s, const fault &f)
{
    trial t(&f);
    s.run(t, &f);
    const int hit = t.hit() ? HIT : 0;
    if (t.wrong.empty()) return hit;
    printf("%s: faults %s \"%s\" (%s)\n", t.wrong.c_str(), s.name, f.text().c_str(),
           strerrorname_np(f.error));
    return hit | FINDING;
}

// Runs sleep more than they work, so that several go on at a time, each in a process of its own.
class crew {
  public:
    explicit crew(figures *total) : sum(total), size(4 * sysconf(_SC_NPROCESSORS_ONLN)) {}
    ~crew()
    {
        while (working > 0)
            collect();
    }
    void run(const scenario &s, const fault &f)
    {
        if (working >= size) collect();
        const pid_t id = fork();
        if (id == 0) exit(run_one(s, f));
        if (id < 0) perror("fork"), exit(1);
        working++;
    }

  private:
    void collect()
    {
        int status = 0;
        wait(&status);
        const int outcome = WIFEXITED(status) ? WEXITSTATUS(status) : FINDING;
        working--;
        sum->runs++;
        sum->hits += (outcome & HIT) != 0;
        sum->findings += (outcome & FINDING) != 0;
    }
    figures *sum;
    long size, working = 0;
};

// How often each role makes each call where nothing fails: "ROLE CALL" to the most of a process.
std::map<std::string, long> count_calls(const scenario &s, figures *sum)
{
    trial t(nullptr);
    s.run(t, nullptr);
    if (!t.wrong.empty()) {
        sum->findings++;
        printf("%s: faults %s, where nothing fails\n", t.wrong.c_str(), s.name);
    }
    std::map<std::string, long> most;
    std::istringstream lines(t.report());
    std::string role, call;
    for (long count; lines >> role >> call >> count;)
        most[role + " " + call] = std::max(most[role + " " + call], count);
    return most;
}

// No call is interrupted for ever, and a server whose every wait fails cannot serve.
bool may_last(const kind_of_call &kind, int error)
{
    return error != EINTR && strstr(kind.name, "poll") == nullptr;
}

// The faults of one call: at the first ones, and then at ever larger distances.
std::vector<fault> faults_of(const std::string &role, const kind_of_call &kind, long count)
{
    std::vector<fault> list;
    for (long k = 1; k <= count; k += 1 + k / 8) {
        for (int error : kind.errors)
            for (const char *mode : {"once", "on"})
                if (strcmp(mode, "once") == 0 || may_last(kind, error))
                    list.push_back({role, kind.name, k, error, mode});
        if (kind.moves) list.push_back({role, kind.name, k, kind.errors[0], "on"});
        if (kind.moves) list.back().mode = "short";
    }
    return list;
}

void run_scenario(const scenario &s, const std::string &only, size_t stride, figures *sum)
{
    const std::map<std::string, long> most = count_calls(s, sum);
    size_t turn = 0;
    crew workers(sum);
    for (const char *role : {"server", "worker", "client"}) {
        if (!only.empty() && only != role) continue;
        for (const kind_of_call &kind : kinds) {
            auto count = most.find(std::string(role) + " " + kind.name);
            if (count == most.end()) continue;
            for (const fault &f : faults_of(role, kind, count->second))
                if (turn++ % stride == 0) workers.run(s, f);
        }
    }
    fprintf(stderr, "%s: %zu faults\n", s.name, turn);
}

// "ROLE CALL K ERROR MODE"
fault parse(const char *text)
{
    fault f;
    std::istringstream in(text);
    in >> f.role >> f.call >> f.k >> f.error >> f.mode;
    return f;
}

} // namespace

int main(int argc, char **argv)
{
    setvbuf(stdout, nullptr, _IOLBF, 0); // a line at a time, and none twice after fork()
    figures sum;
    words arguments(argv + 1, argv + argc);
    size_t stride = 97;
    bool one = false;
    if (!arguments.empty() && arguments[0] == "--all") {
        stride = 1;
        arguments.erase(arguments.begin());
    } else if (arguments.size() > 1 && arguments[0] == "--every") {
        stride = std::max(1, atoi(arguments[1].c_str()));
        arguments.erase(arguments.begin(), arguments.begin() + 2);
    } else {
        one = arguments.size() == 2;
    }
    for (const scenario &s : scenarios) {
        if (!arguments.empty() && arguments[0] != s.name) continue;
        if (one)
            crew(&sum).run(s, parse(arguments[1].c_str()));
        else
            run_scenario(s, arguments.size() > 1 ? arguments[1] : "", stride, &sum);
    }
    printf("%ld runs, %ld faults happened, %ld findings\n", sum.runs, sum.hits, sum.findings);
    return sum.findings == 0 && sum.runs > 0 ? 0 : 1;
}
