// How the branch-and-cut library is set up: cuts, heuristics, order and limits.

#include "solver/engine/mip_events.h"

#include <CbcCompareDefault.hpp>
#include <CbcCutGenerator.hpp>
#include <CbcHeuristicDiveCoefficient.hpp>
#include <CbcHeuristicFPump.hpp>
#include <CbcHeuristicGreedy.hpp>
#include <CbcHeuristicLocal.hpp>
#include <CbcHeuristicRINS.hpp>
#include <CbcSOS.hpp>
#include <CbcSimpleInteger.hpp>
#include <CglClique.hpp>
#include <CglGomory.hpp>
#include <CglMixedIntegerRounding2.hpp>
#include <CglProbing.hpp>
#include <CglTwomir.hpp>

namespace vnt {

static constexpr double infinity = std::numeric_limits<double>::infinity();

void mip_search::setup()
{
    cbc->passInMessageHandler(&silence);
    cbc->setLogLevel(0);
    default_options();
    mip_events events(*this, poll, cbc.get());
    cbc->passInEventHandler(&events);
    CbcCompareDefault order;
    cbc->setNodeComparison(order);
    limits();
    if (params.cuts) add_cuts();
    if (params.heuristics && model.num_pairs == 0) add_heuristics(); // they know none, either
    add_pairs();
    set_order();
    cutoff_carrier carrier(*this, *cbc);
    cbc->addHeuristic(&carrier);
}

// What the library's own driver sets for all but special models; together they halve the time.
void mip_search::default_options()
{
    auto *solver = dynamic_cast<OsiClpSolverInterface *>(cbc->solver());
    // Not 1, "keep work regions": with it the library aborts the process now and then.
    constexpr int own_model = 1024;
    solver->setSpecialOptions(own_model);
    ClpSimplex *clp = solver->getModelPtr();
    clp->setSpecialOptions(clp->specialOptions() | COIN_CBC_USING_CLP);
    constexpr int check_from_basis = 2,
                  careful_cuts = 4096; // without it an assertion fails at times
    cbc->setSpecialOptions(cbc->specialOptions() | check_from_basis | careful_cuts);
    // Deep nodes of small problems are finished off in one go, which knows no pairs.
    if (model.num_pairs == 0 && narrow()) cbc->setFastNodeDepth(-12);
}

// Whether integer columns have few values.  What finishes off a node keeps all of a path at hand,
// and a path may be as long as a column has values.
bool mip_search::narrow() const
{
    const double *lower = reduced->getColLower(), *upper = reduced->getColUpper();
    for (int j = 0; j < reduced->getNumCols(); j++)
        if (reduced->isInteger(j) && upper[j] - lower[j] > 100) return false;
    return true;
}

void mip_search::limits()
{
    count_nodes();
    cbc->setIntegerTolerance(std::max(params.integrality, 1e-9));
    cbc->setAllowableGap(params.absolute_gap);
    cbc->setAllowableFractionGap(params.relative_gap);
    cbc->setPrintFrequency(1); // the event of a clean tree, at every node
    if (params.seed > 0) cbc->setRandomSeed(params.seed);
    apply_cutoff();
    choose_strength();
}

void mip_search::choose_strength()
{
    // What compares pseudo costs ends the process when it meets a pair.
    cbc->setNumberStrong(model.num_pairs > 0 ? 0 : 5);
    cbc->setNumberBeforeTrust(0);
    if (model.num_pairs > 0) return;
    int columns = reduced->getNumCols();
    cbc->setNumberBeforeTrust(columns <= 50    ? 1000
                              : columns <= 100 ? 100
                              : columns <= 300 ? 50
                                               : 10);
}

// Each generator's work is bounded: they run for as long as it takes otherwise, without a poll.
static CglProbing probing_cuts()
{
    CglProbing cuts;
    cuts.setUsingObjective(1);
    cuts.setMaxPass(1);
    cuts.setMaxPassRoot(1);
    cuts.setMaxProbe(123);
    cuts.setMaxProbeRoot(123);
    cuts.setMaxLook(10);
    cuts.setMaxLookRoot(20);
    cuts.setMaxElements(200);
    cuts.setMaxElementsRoot(300);
    cuts.setRowCuts(3);
    return cuts;
}

static CglGomory gomory_cuts()
{
    CglGomory cuts;
    cuts.setLimitAtRoot(1000);
    cuts.setLimit(50);
    cuts.setAwayAtRoot(0.005);
    return cuts;
}

static CglClique clique_cuts()
{
    CglClique cuts;
    cuts.setStarCliqueReport(false);
    cuts.setRowCliqueReport(false);
    cuts.setMinViolation(0.1);
    return cuts;
}

static CglMixedIntegerRounding2 rounding_cuts()
{
    CglMixedIntegerRounding2 cuts;
    cuts.setMULTIPLY_(0); // rows multiplied by -1 yield cuts that lose solutions
    cuts.setDoPreproc(1);
    return cuts;
}

static CglTwomir two_step_cuts()
{
    CglTwomir cuts;
    cuts.setMaxElements(250);
    cuts.setAwayAtRoot(0.005);
    cuts.setAway(0.01);
    return cuts;
}

// Those of knapsack and flow covers are left out: now and then what they lift is no cut, and a
// solution is lost.
void mip_search::add_cuts()
{
    constexpr int if_it_helps = -98; // at the root; in the tree while it moves the bound
    CglProbing probing = probing_cuts();
    CglGomory gomory = gomory_cuts();
    CglClique clique = clique_cuts();
    CglMixedIntegerRounding2 mir = rounding_cuts();
    CglTwomir twomir = two_step_cuts();
    struct {
        CglCutGenerator *generator;
        const char *name;
        int inaccuracy;
    } const rows[] = {
        {&probing, "probing", 5},
        {&gomory, "Gomory", 3},
        {&clique, "clique", 0},
        {&mir, "mixed integer rounding", 2},
        {&twomir, "two-step rounding", 4},
    };
    for (const auto &row : rows) {
        if (row.generator == &probing && !engine_ints_bounded(model)) continue;
        cbc->addCutGenerator(row.generator, if_it_helps, row.name);
        CbcCutGenerator *added = cbc->cutGenerator(cbc->numberCutGenerators() - 1);
        added->setInaccuracy(row.inaccuracy);
        added->setSwitchOffIfLessThan(row.generator == &twomir);
    }
    int columns = reduced->getNumCols();
    cbc->setMaximumCutPassesAtRoot(columns < 500 ? -100 : columns < 5000 ? 100 : 50);
    cbc->setMaximumCutPasses(4);
    double value = std::fabs(reduced->getObjValue());
    cbc->setMinimumDrop(std::min(5e-2, value * 1e-5 + 1e-5));
}

void mip_search::add_pairs()
{
    constexpr double weights[] = {1, 2};
    std::vector<std::unique_ptr<CbcObject>> owned;
    std::vector<CbcObject *> objects;
    for (int k = 0; k < model.num_pairs; k++) {
        owned.push_back(std::make_unique<CbcSOS>(cbc.get(), 2, model.pairs + 2 * k, weights, k, 1));
        objects.push_back(owned.back().get());
    }
    if (!objects.empty()) cbc->addObjects(static_cast<int>(objects.size()), objects.data());
}

// Columns that preprocessing made have no place in the caller's order.
void mip_search::set_order()
{
    if (model.rank == nullptr) return;
    cbc->findIntegers(false);
    const int *from = process == nullptr ? nullptr : process->originalColumns();
    for (int i = 0; i < cbc->numberObjects(); i++) {
        auto *object = dynamic_cast<CbcSimpleInteger *>(cbc->modifiableObject(i));
        if (object == nullptr) continue;
        int j = from == nullptr ? object->columnNumber() : from[object->columnNumber()];
        if (j < 0 || j >= model.numcols) continue;
        object->setPriority(model.rank[j]);
        object->setPreferredWay(model.direction[j]);
    }
}

void mip_search::add_heuristics()
{
    CbcHeuristicFPump pump(*cbc);
    pump.setMaximumPasses(20);
    pump.setMaximumRetries(2);
    pump.setFractionSmall(0.5);
    pump.setWhen(13);
    cbc->addHeuristic(&pump, "feasibility pump");
    CbcRounding rounding(*cbc);
    cbc->addHeuristic(&rounding, "rounding");
    CbcHeuristicGreedyCover cover(*cbc);
    cbc->addHeuristic(&cover, "greedy cover");
    CbcHeuristicGreedyEquality equality(*cbc);
    cbc->addHeuristic(&equality, "greedy equality");
    CbcHeuristicDiveCoefficient dive(*cbc);
    dive.setWhen(3);
    dive.setMaxTime(infinity);
    cbc->addHeuristic(&dive, "coefficient diving");
    CbcHeuristicRINS neighbours(*cbc);
    neighbours.setFractionSmall(0.5);
    neighbours.setDecayFactor(5);
    cbc->addHeuristic(&neighbours, "neighbourhood");
    CbcHeuristicLocal combine(*cbc);
    combine.setFractionSmall(0.5);
    combine.setSearchType(1);
    cbc->addHeuristic(&combine, "combine solutions");
}

} // namespace vnt
