// networkproblem.h: a network of an environment: the network itself, a basis, and what the last
// solve left.
//
// Every change drops the answer.  The basis, one status per arc and per node, stays unless arcs or
// nodes come or go.

#pragma once

#include "solver/model/network.h"
#include "solver/problem/problem.h"

struct vntnet {
    vnt::network n;
    vnt::answer last;
    std::vector<int> astat, nstat; // a basis, both empty without one

    bool has_basis() const { return !astat.empty() || !nstat.empty(); }
    void changed() { last = vnt::answer(); }
    void reshaped()
    {
        changed();
        astat.clear();
        nstat.clear();
    }
};
