// network.h: a minimum-cost flow problem: nodes with supplies, arcs with bounds and costs.
//
// A node's supply is its outflow minus its inflow; a negative supply is a demand.
//
// Errors: a failing change leaves the network as it was.  Failures: VNTERR_INDEX_RANGE,
// VNTERR_BAD_NUMBER, VNTERR_BAD_ARGUMENT.

#pragma once

#include "solver/model/model.h"

namespace vnt {

// New arcs; null lists stand for bounds 0 and infinity and costs of 0.
struct new_arcs {
    int count;
    const int *from;
    const int *to;
    const double *lower;
    const double *upper;
    const double *cost;
    const char *const *names;
};

struct network {
    std::string name;
    int sense = VNT_MIN;

    std::vector<double> supply;
    name_list node_names{'n'};

    std::vector<int> from, to;
    std::vector<double> lower, upper, cost;
    name_list arc_names{'a'};

    int numnodes() const { return static_cast<int>(supply.size()); }
    int numarcs() const { return static_cast<int>(from.size()); }

    void append_nodes(int count, const double *supplies, const char *const *names);
    void append_arcs(const new_arcs &arcs);

    // Element i of a list is the new index of node or arc i, -1 to delete it.  The arcs of deleted
    // nodes must be deleted as well.
    void keep(const std::vector<int> &node_place, const std::vector<int> &arc_place);

    // The problem with a column per arc and an equation per node.
    model linear() const;
};

// A network inside a linear problem: rows in which each column has at most one entry of 1 and one
// of -1, possibly after the signs of some rows are changed.  Such rows are chosen greedily, in
// order. Columns with only one such entry, and slacks, end at an additional last node.
struct extracted {
    network n;
    std::vector<int> column; // of each arc; -i - 1 for the slack of row i
    std::vector<int> row;    // of each node; -1 for the last node
};
extracted network_extract(const model &m);

} // namespace vnt
