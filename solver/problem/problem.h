// problem.h: a problem of an environment: its model, where a solve may start, and what the last
// solve left.
//
// Every change of the model drops the answer; the basis and the MIP starts stay, fitted to the
// change, as the start of the next solve.

#pragma once

#include "solver/engine/engine.h"
#include "solver/model/annotations.h"
#include "solver/model/model.h"
#include "solver/problem/filter.h"

#include <memory>
#include <optional>

namespace vnt {

struct pool_solution {
    std::string name;
    double objective;
    std::vector<double> x;
};

// The result of the last solve.  A vector that the solve did not give is empty.
struct answer : engine_result {
    int solution = VNT_SOLUTION_NONE;
    std::vector<pool_solution> pool;

    // Without columns an empty x is a solution, too.
    bool has_solution() const { return solution != VNT_SOLUTION_NONE; }
};

// A group of constraints that are kept or left out together; see vanto.h.
struct conflict_member {
    char type; // VNT_CONSTRAINT_*
    int index;
};
struct conflict_group {
    double preference;
    std::vector<conflict_member> members;
    int status = VNT_CONFLICT_EXCLUDED;
};
struct conflict {
    int status = VNT_CONFSTAT_FEASIBLE;
    int64_t passes = 0; // subproblems solved
    std::vector<conflict_group> groups;
};

class tableau;

// The tableau of the basis, made when first asked for.  It refers to its problem, so a copy of the
// problem starts without one.
struct tableau_keeper {
    std::shared_ptr<const tableau> made;

    tableau_keeper() = default;
    tableau_keeper(const tableau_keeper &) {}
    tableau_keeper &operator=(const tableau_keeper &)
    {
        made.reset();
        return *this;
    }
};

} // namespace vnt

struct vntlp {
    vnt::model m;
    vnt::answer last;
    std::optional<vnt::conflict> found; // by the last search for a conflict
    std::vector<int> cstat, rstat;      // a basis, both empty without one
    std::vector<double> start;          // values of all columns to start from, may be empty
    std::vector<vnt::mip_start> mip_starts;
    vnt::annotations notes;
    std::vector<vnt::pool_filter> filters;
    std::vector<double> free_lower, free_upper; // a fixed MIP's bounds before they were fixed

    bool has_basis() const { return !cstat.empty() || !rstat.empty(); }
    void set_basis(std::vector<int> cols, std::vector<int> rows);
    void forget_basis();
    // Makes a basis for a point.  Variables strictly between their bounds become basic first, then
    // those with zero reduced cost, then others.  A nondegenerate vertex gets its own basis.
    void set_basis_near(const std::vector<double> &x, const std::vector<double> &dj);
    int nonbasic_status(int j) const; // of column j, VNT_BASIS_*

    // The tableau of the basis, kept for the next question; VNTERR_NO_BASIS without a basis.
    const vnt::tableau &basis_tableau();
    vnt::tableau_keeper tableau;

    void changed();

    // Takes a new model in place of the old one and of all that belonged to it.
    void replace(vnt::model &&fresh);

    void append_cols(const vnt::new_columns &cols, const vnt::matrix_lines *entries);
    void append_rows(const vnt::new_rows &rows, const vnt::matrix_lines *entries);
    void keep_cols(const std::vector<int> &place, int left);
    void keep_rows(const std::vector<int> &place, int left);

    // Changes the type.  A fixed MIP has its discrete columns fixed at `values`; the next change of
    // type restores their bounds.
    void set_type(int type, const std::vector<double> &values);
};
