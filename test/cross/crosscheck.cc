// Cross-checks the open solver: random models, each solved with drawn settings in child processes.
//
//     crosscheck [--models N] [--seed S] [--seconds T] [--settings K] [--kind K] [--verbose]
//
// Every point is checked against the model.  Who claims a worse optimum than the best checked
// point, calls a model infeasible that has one, or dies, is wrong; so is an answer to a linear
// program without its certificate.  Model number i has the seed S + i, so that a fault of seed F is
// reproduced by --models 1 --seed F.  Exits with 1 when anything was wrong.

#include "test/cross/certificate.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

solver_answer solve(const random_model &m, const settings &s)
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

// Numbers through a pipe, from the child to the parent.
template <class visit> void each_part(solver_answer &a, const visit &one)
{
    one(&a, offsetof(solver_answer, x)); // the plain members stand first
    for (auto *list : {&a.x, &a.pi, &a.dj, &a.proof, &a.direction})
        one(list->data(), list->size() * sizeof(double));
    for (auto *list : {&a.cstat, &a.rstat})
        one(list->data(), list->size() * sizeof(int));
}

bool read_whole(int fd, void *where, size_t size)
{
    for (size_t at = 0; at < size;) {
        ssize_t n = read(fd, static_cast<char *>(where) + at, size - at);
        if (n <= 0) return false;
        at += static_cast<size_t>(n);
    }
    return true;
}

// The answer of a solve in a child process.  `death` says how the child died, empty when it lives.
solver_answer solve_apart(const random_model &m, const settings &s, std::string *death)
{
    int ends[2], state = 0;
    if (pipe(ends) != 0) exit(2);
    fflush(nullptr);
    pid_t child = fork();
    if (child < 0) exit(2);
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        struct rlimit work = {60, 61}; // seconds of work; then it does not end
        setrlimit(RLIMIT_CPU, &work);
        alarm(600); // one that waits for ever; a loaded machine may take its time
        solver_answer a = solve(m, s);
        each_part(a, [&](void *from, size_t size) {
            if (write(ends[1], from, size) != static_cast<ssize_t>(size)) _exit(3);
        });
        _exit(0);
    }
    close(ends[1]);
    solver_answer a;
    a.resize(m.columns.size(), m.rows.size());
    bool whole = true;
    each_part(a,
              [&](void *where, size_t size) { whole = whole && read_whole(ends[0], where, size); });
    close(ends[0]);
    waitpid(child, &state, 0);
    death->clear();
    int signal = WIFSIGNALED(state) ? WTERMSIG(state) : 0;
    if (signal != 0)
        *death = signal == SIGALRM || signal == SIGXCPU ? "does not end" : strsignal(signal);
    else if (WEXITSTATUS(state) != 0 || !whole)
        *death = "exit " + std::to_string(WEXITSTATUS(state));
    return a;
}

struct tally {
    int models = 0, solves = 0, deaths = 0, wrong = 0, enginefailures = 0, limits = 0;
};

bool ends_at_limit(int status)
{
    return status == VNT_STAT_NODE_LIMIT || status == VNT_STAT_TIME_LIMIT ||
           status == VNT_STAT_ITERATION_LIMIT || status == VNT_STAT_NUMERICAL;
}

bool has_optimum(int status)
{
    return status == VNT_STAT_OPTIMAL || status == VNT_STAT_OPTIMAL_TOLERANCE;
}

// The model in the words of the LP format, as far as they go.
void print(const random_model &m)
{
    printf("%s\n %g", m.sense == VNT_MIN ? "min" : "max", m.offset);
    for (size_t j = 0; j < m.columns.size(); j++)
        printf(" %+.10g x%zu", m.columns[j].cost, j);
    printf("\nst\n");
    for (const random_row &r : m.rows) {
        if (r.binary >= 0) printf(" x%d = %d ->", r.binary, r.complemented ? 0 : 1);
        printf(" %.10g <=", r.lower);
        for (size_t k = 0; k < r.index.size(); k++)
            printf(" %+.10g x%d", r.value[k], r.index[k]);
        printf(" <= %.10g\n", r.upper);
    }
    for (const random_set &s : m.sets) {
        printf(" S%c:", s.type);
        for (int j : s.index)
            printf(" x%d", j);
        printf("\n");
    }
    printf("bounds\n");
    for (size_t j = 0; j < m.columns.size(); j++) {
        const random_column &c = m.columns[j];
        printf(" %.10g <= x%zu <= %.10g %c", c.lower, j, c.upper, c.type);
        if (!m.known.empty()) printf(" known %.10g", m.known[j]);
        printf("\n");
    }
}

class check {
  public:
    explicit check(unsigned seed, bool verbose)
        : seed(seed), verbose(verbose), random(seed * 2654435761u + 1),
          model(random_model_make(seed))
    {
        if (verbose) print(model);
        if (model.known.size() != model.columns.size() ||
            !point_fault(model, model.known, 1e-9).empty())
            return;
        consider(model.known);
    }
    void run(int count, tally *sums)
    {
        sum = sums;
        sum->models++;
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
        sum->wrong++;
        printf("WRONG seed %u (%s) %s: %s\n", seed, model.kind, s.text().c_str(), what.c_str());
    }
    void solve_once()
    {
        settings s = drawn(random);
        std::string death;
        solver_answer a = solve_apart(model, s, &death);
        sum->solves++;
        if (verbose)
            printf("seed %u %s: rc %d status %d objective %.12g\n", seed, s.text().c_str(), a.rc,
                   a.status, a.objective);
        if (!death.empty()) {
            sum->deaths++;
            printf("DEATH seed %u (%s) %s: %s\n", seed, model.kind, s.text().c_str(),
                   death.c_str());
            return;
        }
        if (a.rc != 0) {
            sum->enginefailures++;
            printf("ERROR seed %u (%s) %s: %d\n", seed, model.kind, s.text().c_str(), a.rc);
            return;
        }
        judge(s, a);
        answers.emplace_back(s, std::move(a));
    }

    // What an answer must satisfy by itself.
    void judge(const settings &s, const solver_answer &a)
    {
        sum->limits += ends_at_limit(a.status);
        std::string wrong;
        bool claims = has_optimum(a.status) || (model.discrete() && a.point);
        if (claims) {
            wrong = a.point ? point_fault(model, a.x, 2e-6) : "an optimum without a point";
            double value = a.point ? objective_of(model, a.x) : 0;
            if (wrong.empty() && std::fabs(value - a.objective) > 1e-6 * (1 + std::fabs(value)))
                wrong = "an objective that its point has not";
            if (wrong.empty()) consider(a.x);
        }
        if (wrong.empty() && !model.discrete()) wrong = certificate_fault(model, a);
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
    unsigned models = 500, seed = 1;
    int count = 2, kind = -1;
    double seconds = 1e9;
    bool verbose = false;
    for (int i = 1; i < argc; i++) {
        auto number = [&] { return i + 1 < argc ? atof(argv[++i]) : 0; };
        if (strcmp(argv[i], "--models") == 0)
            models = static_cast<unsigned>(number());
        else if (strcmp(argv[i], "--seed") == 0)
            seed = static_cast<unsigned>(number());
        else if (strcmp(argv[i], "--seconds") == 0)
            seconds = number();
        else if (strcmp(argv[i], "--settings") == 0)
            count = static_cast<int>(number());
        else if (strcmp(argv[i], "--kind") == 0)
            kind = static_cast<int>(number());
        else if (strcmp(argv[i], "--verbose") == 0)
            verbose = true;
        else
            return fprintf(stderr, "crosscheck: unknown option %s\n", argv[i]), 2;
    }
    steady::time_point begin = steady::now();
    auto passed = [&] { return std::chrono::duration<double>(steady::now() - begin).count(); };
    tally kinds[random_kinds], all;
    printf("seed %u\n", seed);
    for (unsigned i = 0; i < models && passed() < seconds; i++) {
        int k = static_cast<int>((seed + i) % random_kinds);
        if (kind >= 0 && k != kind) continue;
        check(seed + i, verbose).run(count, &kinds[k]);
    }
    printf("%-18s %7s %7s %7s %7s %7s %7s\n", "kind", "models", "solves", "deaths", "wrong",
           "errors", "limits");
    auto line = [](const char *name, const tally &t) {
        printf("%-18s %7d %7d %7d %7d %7d %7d\n", name, t.models, t.solves, t.deaths, t.wrong,
               t.enginefailures, t.limits);
    };
    for (int k = 0; k < random_kinds; k++) {
        line(random_kind_name(k), kinds[k]);
        const tally &t = kinds[k];
        all = {all.models + t.models,
               all.solves + t.solves,
               all.deaths + t.deaths,
               all.wrong + t.wrong,
               all.enginefailures + t.enginefailures,
               all.limits + t.limits};
    }
    line("all", all);
    printf("%.1f seconds\n", passed());
    return all.deaths + all.wrong > 0 || all.enginefailures > 1 + all.models / 2000;
}
