// measure.h: measures ways to do one thing side by side, and prints what they take.
//
// All ways are measured in turn in each round, so that a busy moment of the machine meets all of
// them.  A ratio is the median of the ratios within the rounds.
//
// Errors: a measurement that cannot be made ends the program.

#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace vnt {

// Ends the program with a message unless `fine`.
void bench_must(bool fine, const char *what);

// Seconds that the work takes, and seconds of processor time that it costs in the processes given
// and in this one.
double bench_seconds(const std::function<void()> &work);
double bench_cpu(const std::vector<pid_t> &others, const std::function<void()> &work);

// The calling thread, and what it starts, run on one core for the length of an object.
class one_core {
  public:
    one_core();
    ~one_core();
    one_core(const one_core &) = delete;
    one_core &operator=(const one_core &) = delete;
};

struct bench_goal {
    enum { NONE, AT_MOST, AT_LEAST } kind = NONE;
    double value = 0;
};
constexpr bench_goal at_most(double value)
{
    return {bench_goal::AT_MOST, value};
}
constexpr bench_goal at_least(double value)
{
    return {bench_goal::AT_LEAST, value};
}

// A way to do the thing; `measure` does it and returns a figure.
struct bench_way {
    const char *name;
    bench_goal goal; // for the ratio to the last way, or for the figure of an only way
    std::function<double()> measure;
};

// What a way has taken.
struct bench_figure {
    double median, low, high;
};
bench_figure bench_figure_of(std::vector<double> values);

// Collects lines of a table.
class bench_report {
  public:
    explicit bench_report(int rounds);

    int rounds() const { return nrounds; }

    // Measures the ways in turn.  The last is the base to which the others are compared.
    void compare(const std::string &what, const char *unit, const std::vector<bench_way> &ways);
    // The same for work that is done once, without a run to warm up.
    void compare_once(const std::string &what, const char *unit,
                      const std::vector<bench_way> &ways);

    void print_table(FILE *to) const;
    void print_json(FILE *to) const;

  private:
    struct line {
        std::string what, way, unit, base;
        bench_figure figure, basefigure, ratio; // without a base the last two are not used
        bench_goal goal;
    };
    void measure(const std::string &what, const char *unit, int rounds,
                 const std::vector<bench_way> &ways);
    void add(line l);

    int nrounds;
    double loadbefore, loadhighest;
    std::vector<line> lines;
};

} // namespace vnt
