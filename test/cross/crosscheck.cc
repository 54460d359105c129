// Cross-checks the open solver: random models, each solved with drawn settings in child processes.
//
//     crosscheck [--models N] [--seed S] [--seconds T] [--settings K] [--kind K] [--verbose]
//
// Every point is checked against the model.  Who claims a worse optimum than the best checked
// point, calls a model infeasible that has one, or dies, is wrong; so is an answer to a linear
// program without its certificate.  Model number i has the seed S + i, so that a fault of seed F is
// reproduced by --models 1 --seed F.  Exits with 1 when anything was wrong.

#include "test/cross/certificate.h"

#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vnt;

namespace {

using steady = std::chrono::steady_clock;

struct settings {
    int method, presolve, cuts, heuristics, seed;

    std::string text() const
    {
        char line[100];
        snprintf(line, sizeof line, "method %d presolve %d cuts %d heuristics %d seed %d", method,
                 presolve, cuts, heuristics, seed);
        return line;
    }
};

settings drawn(std::mt19937 &random)
{
    auto below = [&](unsigned n) { return static_cast<int>(random() % n); };
    settings s = {};
    s.method = below(3);
    s.presolve = below(2);
    s.cuts = below(4) > 0;
    s.heuristics = below(4) > 0;
    s.seed = below(3) == 0 ? below(1000) : 1;
    return s;
}

// The model in the solver.  Exits where that fails: it must not.
void must(int rc, const char *what)
{
    if (rc == 0) return;
    fprintf(stderr, "crosscheck: %s returns %d\n", what, rc);
    _exit(3);
}

void copy_row(VNTENVptr env, VNTLPptr lp, const random_row &r, int place)
{
    bool equation = r.lower == r.upper, below = r.upper < VNT_INFINITY;
    char sense = equation ? 'E' : below && r.lower > -VNT_INFINITY ? 'R' : below ? 'L' : 'G';
    double rhs = sense == 'L' ? r.upper : r.lower, range = r.upper - r.lower;
    int count = static_cast<int>(r.index.size());
    if (r.binary >= 0) {
        must(VNTLaddindconstr(env, lp, r.binary, r.complemented, count, rhs, sense, r.index.data(),
                              r.value.data(), nullptr),
             "addindconstr");
        return;
    }
    int64_t begin = 0;
    must(VNTLaddrows(env, lp, 0, 1, count, &rhs, &sense, &begin, r.index.data(), r.value.data(),
                     nullptr, nullptr),
         "addrows");
    if (sense == 'R') must(VNTLchgrngval(env, lp, 1, &place, &range), "chgrngval");
}

VNTLPptr copy_model(VNTENVptr env, const random_model &m)
{
    int rc = 0, rows = 0;
    VNTLPptr lp = VNTLcreateprob(env, &rc, m.kind);
    must(rc, "createprob");
    for (const random_column &c : m.columns) {
        const char *type = m.discrete() ? &c.type : nullptr;
        must(VNTLnewcols(env, lp, 1, &c.cost, &c.lower, &c.upper, type, nullptr), "newcols");
    }
    must(VNTLchgobjsen(env, lp, m.sense), "chgobjsen");
    must(VNTLchgobjoffset(env, lp, m.offset), "chgobjoffset");
    for (const random_row &r : m.rows)
        copy_row(env, lp, r, r.binary < 0 ? rows++ : -1);
    for (const random_set &s : m.sets) {
        int64_t begin = 0;
        std::vector<double> weights;
        for (size_t k = 0; k < s.index.size(); k++)
            weights.push_back(static_cast<double>(k + 1));
        must(VNTLaddsos(env, lp, 1, static_cast<int64_t>(s.index.size()), &s.type, &begin,
                        s.index.data(), weights.data(), nullptr),
             "addsos");
    }
    return lp;
}

solver_answer solve(const random_model &m, const settings &s, bool verbose)
{
    solver_answer a;
    int rc = 0, cols = static_cast<int>(m.columns.size()), rows = static_cast<int>(m.rows.size());
    VNTENVptr env = VNTLopenVANTO(&rc);
    must(rc, "open");
    VNTLsetintparam(env, VNT_PARAM_PRESOLVE, s.presolve);
    VNTLsetintparam(env, VNT_PARAM_CUTS, s.cuts);
    VNTLsetintparam(env, VNT_PARAM_HEURISTICS, s.heuristics);
    VNTLsetintparam(env, VNT_PARAM_SEED, s.seed);
    VNTLsetintparam(env, VNT_PARAM_MESSAGES, 0);
    VNTLsetlongparam(env, VNT_PARAM_NODE_LIMIT, 2000);
    VNTLPptr lp = copy_model(env, m);
    if (verbose) VNTLwriteprob(env, lp, "/dev/stdout", "lp");
    auto *method = m.discrete()    ? VNTLmipopt
                   : s.method == 0 ? VNTLprimopt
                   : s.method == 1 ? VNTLdualopt
                                   : VNTLbaropt;
    a.rc = method(env, lp);
    a.status = VNTLgetstat(env, lp);
    a.resize(cols, rows);
    a.point = VNTLgetx(env, lp, a.x.data(), 0, cols - 1) == 0;
    VNTLgetobjval(env, lp, &a.objective);
    if (m.discrete()) return a;
    a.prices = VNTLgetpi(env, lp, a.pi.data(), 0, rows - 1) == 0 &&
               VNTLgetdj(env, lp, a.dj.data(), 0, cols - 1) == 0;
    a.basis = VNTLgetbase(env, lp, a.cstat.data(), a.rstat.data()) == 0;
    a.farkas = VNTLdualfarkas(env, lp, a.proof.data(), &a.proofvalue) == 0;
    a.ray = VNTLgetray(env, lp, a.direction.data()) == 0;
    return a;
}

// Moves all of an answer by fread() or fwrite().  Returns whether all of it went.
template <class transfer, class answer> bool move_answer(transfer move, answer &a, FILE *file)
{
    bool whole = true;
    auto part = [&](auto *at, size_t size) { whole = whole && move(at, size, 1, file) == 1; };
    part(&a, offsetof(solver_answer, x)); // the plain members stand first
    for (auto *list : {&a.x, &a.pi, &a.dj, &a.proof, &a.direction})
        if (!list->empty()) part(list->data(), list->size() * sizeof(double));
    for (auto *list : {&a.cstat, &a.rstat})
        if (!list->empty()) part(list->data(), list->size() * sizeof(int));
    return whole;
}

// The answer of a solve in a child process.  `death` says how the child died, empty when it lives.
solver_answer solve_apart(const random_model &m, const settings &s, bool verbose,
                          std::string *death)
{
    int state = 0;
    FILE *file = tmpfile();
    if (file == nullptr) exit(2);
    fflush(nullptr);
    pid_t child = fork();
    if (child < 0) exit(2);
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        struct rlimit work = {60, 61}; // seconds of work; then it does not end
        setrlimit(RLIMIT_CPU, &work);
        alarm(600); // one that waits for ever; a loaded machine may take its time
        solver_answer a = solve(m, s, verbose);
        _exit(move_answer(fwrite, a, file) && fflush(file) == 0 ? 0 : 3);
    }
    waitpid(child, &state, 0);
    solver_answer a;
    a.resize(m.columns.size(), m.rows.size());
    rewind(file);
    const bool whole = move_answer(fread, a, file);
    fclose(file);
    death->clear();
    int signal = WIFSIGNALED(state) ? WTERMSIG(state) : 0;
    if (signal != 0)
        *death = signal == SIGALRM || signal == SIGXCPU ? "does not end" : strsignal(signal);
    else if (WEXITSTATUS(state) != 0 || !whole)
        *death = "exit " + std::to_string(WEXITSTATUS(state));
    return a;
}

// What is counted, in the order of the table.
enum { MODELS, SOLVES, DEATHS, WRONG, ERRORS, LIMITS, COUNTS };
using tally = std::array<int, COUNTS>;

bool ends_at_limit(int status)
{
    return status == VNT_STAT_NODE_LIMIT || status == VNT_STAT_TIME_LIMIT ||
           status == VNT_STAT_ITERATION_LIMIT || status == VNT_STAT_NUMERICAL;
}

bool has_optimum(int status)
{
    return status == VNT_STAT_OPTIMAL || status == VNT_STAT_OPTIMAL_TOLERANCE;
}

class check {
  public:
    explicit check(unsigned seed, bool verbose)
        : seed(seed), verbose(verbose), random(seed * 2654435761u + 1),
          model(random_model_make(seed))
    {
        if (model.known.size() != model.columns.size() ||
            !point_fault(model, model.known, 1e-9).empty())
            return;
        consider(model.known);
    }
    void run(int count, tally *sums)
    {
        sum = sums;
        (*sum)[MODELS]++;
        for (int k = 0; k < count; k++)
            solve_once();
        for (const auto &[s, a] : answers)
            compare(s, a);
    }

  private:
    // A point that was checked.
    void consider(const std::vector<double> &x)
    {
        double value = model.sense * objective_of(model, x);
        if (!feasible || value < best) best = value;
        feasible = true;
    }
    void fault(const settings &s, const std::string &what)
    {
        (*sum)[WRONG]++;
        printf("WRONG seed %u (%s) %s: %s\n", seed, model.kind, s.text().c_str(), what.c_str());
    }
    void solve_once()
    {
        settings s = drawn(random);
        std::string death;
        solver_answer a = solve_apart(model, s, verbose, &death);
        (*sum)[SOLVES]++;
        if (verbose)
            printf("seed %u %s: rc %d status %d objective %.12g\n", seed, s.text().c_str(), a.rc,
                   a.status, a.objective);
        if (!death.empty()) {
            (*sum)[DEATHS]++;
            printf("DEATH seed %u (%s) %s: %s\n", seed, model.kind, s.text().c_str(),
                   death.c_str());
            return;
        }
        if (a.rc != 0) {
            (*sum)[ERRORS]++;
            printf("ERROR seed %u (%s) %s: %d\n", seed, model.kind, s.text().c_str(), a.rc);
            return;
        }
        judge(s, a);
        answers.emplace_back(s, std::move(a));
    }

    // What an answer must satisfy by itself.
    void judge(const settings &s, const solver_answer &a)
    {
        (*sum)[LIMITS] += ends_at_limit(a.status);
        std::string wrong;
        bool claims = has_optimum(a.status) || (model.discrete() && a.point);
        if (claims) {
            wrong = a.point ? point_fault(model, a.x, 2e-6) : "an optimum without a point";
            double value = a.point ? objective_of(model, a.x) : 0;
            if (wrong.empty() && std::fabs(value - a.objective) > 1e-6 * (1 + std::fabs(value)))
                wrong = "an objective that its point has not";
            if (wrong.empty()) consider(a.x);
        }
        if (wrong.empty() && !model.discrete()) {
            wrong = ends_at_limit(a.status) ? "no answer" : certificate_fault(model, a);
        }
        if (!wrong.empty()) fault(s, "status " + std::to_string(a.status) + ": " + wrong);
    }

    void compare(const settings &s, const solver_answer &a)
    {
        char text[120];
        double value = model.sense * a.objective, slack = 1e-5 * (1 + std::fabs(best));
        if (feasible && (a.status == VNT_STAT_INFEASIBLE || a.status == VNT_STAT_CUTOFF))
            return fault(s, "\"infeasible\", and there is a point");
        if (has_optimum(a.status) && feasible && value > best + slack) {
            snprintf(text, sizeof text, "\"optimal\" %.10g, and there is %.10g", a.objective,
                     model.sense * best);
            return fault(s, text);
        }
        bool unbounded = a.status == VNT_STAT_UNBOUNDED;
        for (const auto &[other, b] : answers)
            if (unbounded && (has_optimum(b.status) || b.status == VNT_STAT_INFEASIBLE))
                return fault(s, "\"unbounded\", and " + other.text() + " says otherwise");
    }

    unsigned seed;
    bool verbose;
    std::mt19937 random;
    random_model model;
    bool feasible = false;
    double best = 0; // of the checked points, minimising
    std::vector<std::pair<settings, solver_answer>> answers;
    tally *sum = nullptr;
};

} // namespace

int main(int argc, char **argv)
{
    std::map<std::string, double> given = {
        {"--models", 500}, {"--seed", 1}, {"--seconds", 1e9}, {"--settings", 2}, {"--kind", -1}};
    bool verbose = false;
    for (int i = 1; i < argc; i++) {
        auto option = given.find(argv[i]);
        if (strcmp(argv[i], "--verbose") == 0)
            verbose = true;
        else if (option != given.end() && i + 1 < argc)
            option->second = atof(argv[++i]);
        else
            return fprintf(stderr, "crosscheck: unknown option %s\n", argv[i]), 2;
    }
    const auto seed = static_cast<unsigned>(given["--seed"]);
    const int count = static_cast<int>(given["--settings"]),
              kind = static_cast<int>(given["--kind"]);
    steady::time_point begin = steady::now();
    auto passed = [&] { return std::chrono::duration<double>(steady::now() - begin).count(); };
    tally kinds[random_kinds] = {}, all = {};
    printf("seed %u\n", seed);
    for (unsigned i = 0; i < given["--models"] && passed() < given["--seconds"]; i++) {
        int k = static_cast<int>((seed + i) % random_kinds);
        if (kind >= 0 && k != kind) continue;
        check(seed + i, verbose).run(count, &kinds[k]);
    }
    auto line = [](const char *name, const auto &cells, const char *format) {
        printf("%-18s", name);
        for (const auto &cell : cells)
            printf(format, cell);
        printf("\n");
    };
    const char *const heads[] = {"models", "solves", "deaths", "wrong", "errors", "limits"};
    line("kind", heads, " %7s");
    for (int k = 0; k < random_kinds; k++) {
        line(random_kind_name(k), kinds[k], " %7d");
        for (int n = 0; n < COUNTS; n++)
            all[n] += kinds[k][n];
    }
    line("all", all, " %7d");
    printf("%.1f seconds\n", passed());
    return all[DEATHS] + all[WRONG] > 0 || all[ERRORS] > 1 + all[MODELS] / 2000;
}
