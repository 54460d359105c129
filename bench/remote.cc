// remote: what a call costs on its way to a worker and back: the round trip of a small call, and
// the throughput of a large answer and of a large request.  Each is measured beside a bare relay
// of the same shape (socket, pipe, process, pipe, socket), turn by turn in the same run.
//
//   remote [ROUNDS]
//
// The worker's solver is a stand-in that answers at once.  Prints the medians and their ratio: how
// much longer a call through the real server takes.

#include "bench/relay.h"
#include "test/folders.h"
#include "test/server.h"
#include "vanto_client.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

using namespace vnt;

static constexpr size_t MiB = 1 << 20;
static constexpr size_t large = 256 * MiB;
static constexpr int trips = 2000; // round trips in one measurement

static void must(bool fine, const char *what)
{
    if (fine) return;
    fprintf(stderr, "remote: %s: %s\n", what, vntclient_errortext());
    exit(1);
}

static double seconds_of(const std::function<void()> &work)
{
    auto start = std::chrono::steady_clock::now();
    work();
    return seconds(std::chrono::steady_clock::now() - start).count();
}

static double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Measures both in turns and prints a line; `scale` turns seconds into `unit`.
static void compare(const char *name, int rounds, const std::function<void()> &real,
                    const std::function<void()> &bare, const std::function<double(double)> &scale,
                    const char *unit)
{
    std::vector<double> realtimes, baretimes;
    real(); // the first run pays for fresh memory
    bare();
    for (int i = 0; i < rounds; i++) {
        realtimes.push_back(seconds_of(real));
        baretimes.push_back(seconds_of(bare));
    }
    double r = median(realtimes), b = median(baretimes);
    printf("%-22s worker %9.1f %s   bare relay %9.1f %s   ratio %.2f\n", name, scale(r), unit,
           scale(b), unit, r / b);
    fflush(stdout);
}

// A problem of `large` bytes in all.
struct model {
    static constexpr int percolumn = 19;                                     // nonzeros
    static constexpr size_t columnbytes = 4 * sizeof(double) + sizeof(int) + // matbeg is as wide
                                          percolumn * (sizeof(int) + sizeof(double));
    static constexpr int numcols = large / columnbytes;
    std::vector<double> column = std::vector<double>(numcols, 1.0);
    std::vector<int64_t> matbeg = std::vector<int64_t>(numcols);
    std::vector<int> matcnt = std::vector<int>(numcols, percolumn);
    std::vector<int> matind = std::vector<int>(size_t(numcols) * percolumn);
    std::vector<double> matval = std::vector<double>(size_t(numcols) * percolumn, 1.0);

    model()
    {
        for (int j = 0; j < numcols; j++)
            matbeg[j] = int64_t(j) * percolumn;
    }
    int copy(VNTENVptr env, VNTLPptr lp) const
    {
        return VNTLcopylp(env, lp, numcols, 0, VNT_MIN, column.data(), nullptr, nullptr,
                          matbeg.data(), matcnt.data(), matind.data(), matval.data(), column.data(),
                          column.data(), nullptr);
    }
};

int main(int argc, char **argv)
{
    int rounds = argc > 1 ? std::max(1, atoi(argv[1])) : 5;
    relay bare; // before the first thread
    server worker({}, {"LD_LIBRARY_PATH=" + build_path("bench/standin")});
    std::string address = "-address=" + worker.address();
    const char *arguments[] = {address.c_str()};
    int status = 0;
    VNTENVptr env = vntclient_open(1, arguments, &status);
    must(env != nullptr, "open");
    VNTLPptr lp = VNTLcreateprob(env, &status, std::to_string(large / sizeof(double)).c_str());
    must(lp != nullptr, "create");

    std::vector<double> x(large / sizeof(double));
    std::vector<char> bytes(large);
    char small[80] = {};
    auto trip = [](double s) { return s / trips * 1e6; };
    auto rate = [](double s) { return large / s / MiB; };
    compare(
        "GETNUMROWS", rounds,
        [&] {
            for (int i = 0; i < trips; i++)
                must(VNTLgetnumrows(env, lp) == 1, "getnumrows");
        },
        [&] {
            for (int i = 0; i < trips; i++)
                bare.exchange(small, sizeof small, small, 8);
        },
        trip, "us");
    compare(
        "GETX of 256 MiB", rounds,
        [&] { must(VNTLgetx(env, lp, x.data(), 0, static_cast<int>(x.size()) - 1) == 0, "getx"); },
        [&] { bare.exchange(small, sizeof small, bytes.data(), large); }, rate, "MiB/s");
    model m;
    compare(
        "COPYLP of 256 MiB", rounds, [&] { must(m.copy(env, lp) == 0, "copylp"); },
        [&] { bare.exchange(bytes.data(), large, small, 8); }, rate, "MiB/s");
    VNTLfreeprob(env, &lp);
    VNTLcloseVANTO(&env);
    return 0;
}
