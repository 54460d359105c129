// relaxation.h: the smallest change of right-hand sides and bounds that lets a problem have a
// point.
//
// The problem is copied, and in the copy every constraint that may give way gets columns that take
// up what is missing, at a price.  Then the caller's objective may be asked for the best point
// among those that miss as little.

#pragma once

#include "solver/engine/series.h"
#include "solver/problem/problem.h"

namespace vnt {

// The side or sides of a constraint that give way: a row's lower or upper bound, a column's, or a
// whole indicator.
enum relaxed_side { SIDE_LOWER = 1, SIDE_UPPER = 2, SIDE_BOTH = 3 };

class relaxation {
  public:
    // By number: every relaxed group costs, however far it is relaxed; else by sum.
    relaxation(const vntlp &p, bool by_number);

    // The constraint may give way.  Each unit costs 1 / preference, or its group does once.
    void relax(const conflict_member &c, int sides, double preference, int64_t group);

    // Finds the least relaxation and then, where asked for, the best objective within it.  Returns
    // 0 or an engine's error; how it ended is the answer's status.
    int solve(engine_series &series, bool optimize, answer *out);

  private:
    void relax_row(int i, int sides, double preference, int64_t group);
    void relax_bound(int j, int side, double preference, int64_t group);
    void relax_indicator(int k, double preference, int64_t group);
    int add_slack(double preference, int64_t group, int row, double value);
    void append();
    void append_switches();
    int run(engine_series &series, engine_result *result);
    void ask_objective(const engine_result &least);
    void fill(const engine_result &result, answer *out) const;

    const vntlp &whole;
    vntlp elastic;
    bool by_number;

    // The columns that take up what is missing.
    struct slack_column {
        int column;
        double preference;
        int64_t group;
    };
    std::vector<slack_column> slacks;

    // Lines that wait to be appended all at once.
    struct new_lines {
        std::vector<int64_t> begin = {0};
        std::vector<int> index;
        std::vector<double> value, cost_or_rhs;
        std::string sense;
        void add(std::initializer_list<std::pair<int, double>> entries, double number);
        matrix_lines lines() const;
    } cols, rows;
};

} // namespace vnt
