// Preprocessing, and the way back from it.

#include "solver/engine/mip_search.h"

#include <CglProbing.hpp>

#include <algorithm>

namespace vnt {

static constexpr double infinity = std::numeric_limits<double>::infinity();

// Preprocesses.  When that says there is no feasible point, which is not always so, the model is
// searched as it is.
void mip_search::reduce()
{
    unreduce();
    // Preprocessing knows no pairs.
    if (!engine_has_presolve(model, params) || model.num_pairs > 0 || poll.ended() != 0) return;
    process = std::make_unique<CglPreProcess>();
    process->passInMessageHandler(&silence);
    CglProbing probing; // its work is bounded: without limits one call takes seconds
    probing.setUsingObjective(1);
    probing.setMaxPass(1);
    probing.setMaxPassRoot(1);
    probing.setMaxProbeRoot(std::min(2000, model.numcols));
    probing.setMaxElements(200);
    probing.setMaxElementsRoot(300);
    probing.setMaxLookRoot(20);
    probing.setRowCuts(2); // with both kinds it cuts off solutions now and then
    if (engine_ints_bounded(model)) process->addCutGenerator(&probing);
    constexpr int passes = 10, keep_duplicates = 4096; // merging integer columns loses solutions
    reduced = process->preProcessNonDefault(*original, 0, passes, keep_duplicates);
    if (reduced == nullptr) {
        unreduce();
        return;
    }
    keep_continuous();
    poll.log(2, 3, "reduced to %d rows, %d columns (%d integer)\n", reduced->getNumRows(),
             reduced->getNumCols(), reduced->getNumIntegers());
}

// Preprocessing declares continuous columns integer, at times where that loses solutions.
void mip_search::keep_continuous()
{
    const int *from = process->originalColumns();
    for (int j = 0; j < reduced->getNumCols(); j++)
        if (from[j] < model.numcols && !engine_is_int(model, from[j])) reduced->setContinuous(j);
}

void mip_search::unreduce()
{
    cbc.reset();
    process.reset();
    reduced = original.get();
    set_bounds();
    applied = claimed = infinity;
    exhausted = false;
}

// Preprocessing and its undoing leave the original with bounds of their own.
void mip_search::set_bounds()
{
    original->setColLower(bounds.col_lower.data());
    original->setColUpper(bounds.col_upper.data());
}

// Whether the search had a better solution than all that came through lift(), or no limit where
// the relaxation has one: then preprocessing has cheated.
bool mip_search::lost() const
{
    if (process == nullptr) return false;
    double value = std::min(incumbent.value(), poll.cutoff());
    return (cbc != nullptr && cbc->isContinuousUnbounded()) ||
           claimed < value - 1e-5 * std::max(1.0, std::fabs(claimed));
}

// A point of the reduced problem in the model's columns: the integer columns are held, the rest is
// found again, and the steps of preprocessing are undone, all on copies.
std::vector<double> mip_search::lift(const double *x)
{
    if (process == nullptr) return std::vector<double>(x, x + model.numcols);
    engine_poll::shelter shelter(poll);
    std::unique_ptr<OsiSolverInterface> point(reduced->clone());
    for (int j = 0; j < reduced->getNumCols(); j++)
        if (reduced->isInteger(j)) point->setColBounds(j, std::round(x[j]), std::round(x[j]));
    point->resolve();
    process->postProcess(*point, 0);
    std::vector<double> found(original->getColSolution(),
                              original->getColSolution() + model.numcols);
    set_bounds();
    return found;
}

} // namespace vnt
