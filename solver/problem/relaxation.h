// relaxation.h: the smallest change of right-hand sides and bounds that makes a problem feasible.
//
// In a copy of the problem each relaxable constraint gets slack columns, which have a cost.  A
// second solve can then optimise the caller's objective over the points of least relaxation.

#pragma once

#include "solver/engine/series.h"
#include "solver/problem/problem.h"

namespace vnt {

// The side or sides of a constraint to relax: the lower or upper bound of a row or column.
enum relaxed_side { SIDE_LOWER = 1, SIDE_UPPER = 2, SIDE_BOTH = 3 };

class relaxation {
  public:
    // By number a group costs the same however far it is relaxed; else each unit costs.
    relaxation(const vntlp &p, bool by_number);

    // Allows the constraint to be relaxed, at a cost of 1 / preference for each unit or, by number,
    // for its group.
    void relax(const conflict_member &c, int sides, double preference, int64_t group);

    // Finds the least relaxation and then, with `optimize`, the best objective that it allows.
    // Returns 0 or an engine's error; how it ended is the answer's status.
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

    struct slack_column {
        int column;
        double preference;
        int64_t group;
    };
    std::vector<slack_column> slacks;

    // Rows or columns to be appended at once.
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
