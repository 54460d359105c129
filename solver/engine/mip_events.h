// mip_events.h: what the branch-and-cut library calls during a search, and brings to its driver.

#pragma once

#include "solver/engine/mip_search.h"

#include <CbcEventHandler.hpp>
#include <CbcHeuristic.hpp>

namespace vnt {

// Hands the events of the search to its driver.  The library clones it into the searches that its
// heuristics run, whose events count as work and nothing else.
class mip_events : public CbcEventHandler {
  public:
    mip_events(mip_search &search, engine_poll &poll, const CbcModel *top)
        : search(&search), poll(&poll), top(top)
    {
    }
    mip_events(const mip_events &) = default;
    CbcEventHandler *clone() const override { return new mip_events(*this); }

    CbcAction event(CbcEvent which) override
    {
        if (model_ == top && poll->ended() == 0) {
            if (which == solution || which == heuristicSolution)
                search->solution(top->bestSolution());
            if (which == treeStatus) search->tree_status();
        }
        return poll->tick() ? stop : noAction;
    }
    CbcAction event(CbcEvent, void *) override { return poll->tick() ? killSolution : noAction; }

  private:
    mip_search *search;
    engine_poll *poll;
    const CbcModel *top;
};

// Brings the cutoff, the caller's or that of the incumbent, to the search.  It comes as a heuristic
// because the search expects its cutoff to fall there: set between two nodes, it prunes nodes whose
// cuts are still counted, and the library aborts the process.
class cutoff_carrier : public CbcHeuristic {
  public:
    cutoff_carrier(mip_search &search, CbcModel &top)
        : CbcHeuristic(top), search(&search), top(&top)
    {
        setHeuristicName("cutoff");
    }
    cutoff_carrier(const cutoff_carrier &) = default;
    CbcHeuristic *clone() const override { return new cutoff_carrier(*this); }
    void resetModel(CbcModel *model) override { model_ = model; }
    bool shouldHeurRun(int) override { return model_ == top; }
    int solution(double &, double *) override
    {
        if (model_ == top) search->apply_cutoff();
        return 0; // no solution found
    }

  private:
    mip_search *search;
    const CbcModel *top;
};

} // namespace vnt
