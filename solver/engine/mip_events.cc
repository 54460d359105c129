// What the events of a search bring: solutions, bounds, and its cutoff.

#include "solver/engine/mip_events.h"

#include <CbcCompareDefault.hpp>
#include <CbcTree.hpp>

#include <algorithm>
#include <climits>

namespace vnt {

void mip_search::solution(const double *x)
{
    if (x == nullptr || cbc->getMinimizationObjValue() >= incumbent.value()) return;
    claimed = std::min(claimed, cbc->getMinimizationObjValue());
    incumbent.offer(lift(x));
}

// Between two nodes: the tree is whole, and its bounds hold for everything that is left.
void mip_search::tree_status()
{
    if (std::isfinite(applied) && !incumbent.has_solution()) by_objective();
    count_nodes();
    if (inner) return;
    // Nodes that were finished off in one go are counted apart until the search ends.
    poll.seen.nodes = nodes_before + cbc->getNodeCount() + cbc->getExtraNodeCount();
    poll.seen.nodes_left = cbc->tree()->size();
    raise(cbc->getBestPossibleObjValue());
    // The event goes over the whole tree; in a large one it comes less often.
    cbc->setPrintFrequency(1 + cbc->tree()->size() / 1000);
}

// The library does not count nodes of its fast dives, up to some 15,000 each, against the node
// limit.  So they are counted here, and near the limit there are no dives.
void mip_search::count_nodes()
{
    constexpr int64_t most_at_once = 16000;
    int64_t extra = cbc->getExtraNodeCount(), left = params.node_limit - nodes_before - extra;
    cbc->setMaximumNodes(static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX)));
    if (left - cbc->getNodeCount() <= most_at_once) cbc->setFastNodeDepth(-1);
}

// The proved bound is reported, but never as better than the incumbent or a cutoff: beyond these
// the search did not look.
void mip_search::raise(double proved)
{
    bound = std::max(bound, std::min({proved, incumbent.value(), poll.cutoff()}));
    if (!inner) poll.seen.bound = model.sense * std::min(bound, incumbent.value());
}

// What to hold solutions against so that only better ones than the cutoff pass: better by more than
// noise, or by a whole step where the objective moves in steps.
double mip_search::strictly(double cutoff) const
{
    double noise = 1e-7 * std::max(1.0, std::fabs(cutoff));
    double step = engine_objective_step(model), origin = model.sense * model.offset;
    if (step <= 10 * noise) return cutoff - noise;
    double next = std::ceil((cutoff - noise - origin) / step) - 1;
    return origin + next * step + 0.1 * step;
}

void mip_search::apply_cutoff()
{
    double cutoff = std::min(poll.cutoff(), incumbent.value());
    if (cutoff >= applied) return;
    applied = cutoff;
    cutoff = strictly(cutoff);
    if (cutoff < cbc->getCutoff()) cbc->setCutoff(cutoff);
}

// Without a solution the search goes deep to find one.  Where a cutoff is known, the aim is rather
// to show that nothing beats it: it takes the nodes by their objective then, as it does later on.
void mip_search::by_objective()
{
    auto *order = dynamic_cast<CbcCompareDefault *>(cbc->nodeComparison());
    if (order->getWeight() == 0) return;
    order->setWeight(0);
    if (cbc->tree()->size() > 0) cbc->tree()->setComparison(*order);
}

} // namespace vnt
