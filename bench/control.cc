// control: what control over a long solve costs and how fast it answers.
//
//   control kill COUNT MODEL...    ends COUNT solves of the models, each at a random moment within
//                                  its first five seconds, and prints how long the answers took
//   control cost ROUNDS MODEL...   solves each model ROUNDS times synchronously and asynchronously,
//                                  turn by turn, and prints the medians, in both modes of a worker
//
// Workers are real ones over the open solver, on this machine.

#include "test/server.h"
#include "vanto_client.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>

using namespace vnt;

using steady = std::chrono::steady_clock;

static constexpr double latest = 5; // seconds into a solve, the latest moment to end it

static void must(bool fine, const char *what)
{
    if (fine) return;
    fprintf(stderr, "control: %s: %s\n", what, vntclient_errortext());
    exit(1);
}

static double since(steady::time_point start)
{
    return seconds(steady::now() - start).count();
}

// A model in a worker of its own.
struct problem {
    VNTENVptr env = nullptr;
    VNTLPptr lp = nullptr;

    problem(const server &where, const char *model)
    {
        std::string address = "-address=" + where.address();
        const char *arguments[] = {address.c_str()};
        int status = 0;
        env = vntclient_open(1, arguments, &status);
        must(env != nullptr, "open");
        lp = VNTLcreateprob(env, &status, model);
        must(lp != nullptr && VNTEreadcopyprob(env, lp, model, nullptr, 0, nullptr) == 0, model);
    }
    ~problem()
    {
        VNTLfreeprob(env, &lp);
        VNTLcloseVANTO(&env);
    }
    problem(const problem &) = delete;
    problem &operator=(const problem &) = delete;

    void start() { must(vntclient_start(env) == 0 && VNTLmipopt(env, lp) == 0, "start"); }
};

// The value below which `share` of the sorted values lie.
static double quantile(const std::vector<double> &sorted, double share)
{
    return sorted[std::min(sorted.size() - 1, static_cast<size_t>(share * sorted.size()))];
}

static double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return quantile(values, 0.5);
}

static void print_histogram(const std::vector<double> &sorted)
{
    static constexpr double bounds[] = {1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 1e9};
    double from = 0;
    for (double to : bounds) {
        auto n = std::count_if(sorted.begin(), sorted.end(),
                               [=](double s) { return s * 1e3 >= from && s * 1e3 < to; });
        if (n > 0) printf("%5g ms and more: %4ld  %s\n", from, n, std::string(n / 2, '#').c_str());
        from = to;
    }
}

// Seconds from the order to end the solve to its answer; negative when it had ended before.
static double ended_after(problem &p, double moment)
{
    p.start();
    std::this_thread::sleep_for(seconds(moment));
    int state = 0;
    must(vntclient_test(p.env, &state) == 0, "test");
    auto order = steady::now();
    must(vntclient_kill(p.env) == 0, "kill");
    must(vntclient_join(p.env) == 0, "join");
    return state == VNTCLIENT_ENDED ? -1 : since(order);
}

static int measure_kills(int count, char **models, int nmodels)
{
    server where;
    std::mt19937 random(20240229);
    std::vector<double> answers;
    int over = 0;
    for (int i = 0; static_cast<int>(answers.size()) < count; i++) {
        problem p(where, models[i % nmodels]);
        double moment = std::uniform_real_distribution<>(0, latest)(random);
        double answer = ended_after(p, moment);
        if (answer < 0)
            over++;
        else
            answers.push_back(answer);
        fprintf(stderr, "\r%zu of %d", answers.size(), count);
        must(over <= 20 * count, "the models are solved too quickly");
    }
    fprintf(stderr, "\r");
    std::sort(answers.begin(), answers.end());
    print_histogram(answers);
    printf("%d kills (%d solves were over before): median %.1f ms, 99th percentile %.1f ms, "
           "longest %.1f ms\n",
           count, over, 1e3 * quantile(answers, 0.5), 1e3 * quantile(answers, 0.99),
           1e3 * answers.back());
    return 0;
}

static double solved_after(const server &where, const char *model, bool asynchronously)
{
    problem p(where, model);
    auto start = steady::now();
    if (asynchronously) {
        p.start();
        must(vntclient_join(p.env) == 0, "join");
    } else {
        must(VNTLmipopt(p.env, p.lp) == 0, "solve");
    }
    return since(start);
}

static int measure_costs(int rounds, char **models, int nmodels)
{
    server listening, polling({"-nothreads"});
    for (int m = 0; m < nmodels; m++) {
        std::vector<double> synchronous, listened, polled;
        for (int i = 0; i < rounds; i++) {
            synchronous.push_back(solved_after(listening, models[m], false));
            listened.push_back(solved_after(listening, models[m], true));
            polled.push_back(solved_after(polling, models[m], true));
        }
        double base = median(synchronous);
        auto over = [=](const std::vector<double> &all) { return 100 * (median(all) / base - 1); };
        printf("%s: synchronous %.3f s, asynchronous %+.2f %% with a listener, %+.2f %% polling\n",
               models[m], base, over(listened), over(polled));
        fflush(stdout);
    }
    return 0;
}

int main(int argc, char **argv)
{
    int count = argc > 3 ? atoi(argv[2]) : 0;
    if (count > 0 && strcmp(argv[1], "kill") == 0) return measure_kills(count, argv + 3, argc - 3);
    if (count > 0 && strcmp(argv[1], "cost") == 0) return measure_costs(count, argv + 3, argc - 3);
    fprintf(stderr, "usage: control kill COUNT MODEL...\n"
                    "       control cost ROUNDS MODEL...\n");
    return 2;
}
