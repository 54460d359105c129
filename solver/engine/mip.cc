// Mixed-integer problems: a driver of the branch-and-cut library, in place of its own, which takes
// SIGINT for good and forgets the incumbent when it is stopped.
//
// The road: the relaxation; the caller's start; preprocessing; branch and cut with cuts and
// heuristics that are bounded in work, never in time.  Each solution is carried back to the model's
// own columns at the moment it is found.

#include "solver/engine/incumbent.h"

#include <CbcCompareDefault.hpp>
#include <CbcCutGenerator.hpp>
#include <CbcEventHandler.hpp>
#include <CbcHeuristic.hpp>
#include <CbcHeuristicDiveCoefficient.hpp>
#include <CbcHeuristicFPump.hpp>
#include <CbcHeuristicGreedy.hpp>
#include <CbcHeuristicLocal.hpp>
#include <CbcHeuristicRINS.hpp>
#include <CbcModel.hpp>
#include <CbcSOS.hpp>
#include <CbcSimpleInteger.hpp>
#include <CbcTree.hpp>
#include <CglClique.hpp>
#include <CglFlowCover.hpp>
#include <CglGomory.hpp>
#include <CglKnapsackCover.hpp>
#include <CglMixedIntegerRounding2.hpp>
#include <CglPreProcess.hpp>
#include <CglProbing.hpp>
#include <CglTwomir.hpp>
#include <ClpSolve.hpp>
#include <OsiClpSolverInterface.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>

namespace vnt {

namespace {

constexpr double box_size = 1e7; // see boxed()
constexpr double infinity = std::numeric_limits<double>::infinity();

class mip_search {
  public:
    // A search within a search, for a start with gaps or a question of feasibility, leaves what the
    // caller is told about nodes and bound to the outer one.
    // `lazy` may be null; a search within has that of the outer one.
    mip_search(const engine_model &model, const engine_params &params, engine_poll &poll,
               engine_result &result, engine_lazyrows *lazy, bool inner = false)
        : model(model), params(params), poll(poll), result(result), lazy(lazy), inner(inner),
          bounds(model), incumbent(model, params, poll, result, lazy)
    {
        // An earlier round has done some work and proved a bound.
        if (inner) return;
        nodesbefore = poll.seen.nodes;
        if (std::fabs(poll.seen.bound) < VNT_INFINITY) bound = model.sense * poll.seen.bound;
    }
    void run();

    // What the events of the search tree bring.
    void solution(const double *x);
    void treestatus();
    void applycutoff();

  private:
    bool relax();
    bool separated(const engine_result &relaxed);
    void unbounded(const engine_result &relaxed);
    engine_result findfeasible();
    void boxed();
    void outofbox();
    void settleboxed(const std::vector<double> &x);
    void start();
    bool trystart(const double *given);
    void completestart(const double *given);
    void reduce();
    void keepcontinuous();
    void unreduce();
    void setbounds();
    bool lost() const;
    void search();
    void leaf();
    void setup();
    void usualoptions();
    bool narrow() const;
    void countnodes();
    void addcuts();
    void addheuristics();
    void addpairs();
    void setorder();
    void limits();
    void choosestrength();
    int verdict();
    void conclude();
    void fill();
    void raise(double proved);
    double strictly(double cutoff) const;
    void byobjective();
    std::vector<double> lift(const double *x);

    const engine_model &model;
    const engine_params &params;
    engine_poll &poll;
    engine_result &result;
    engine_lazyrows *const lazy;
    const bool inner;
    int64_t nodesbefore = 0;
    const engine_arrays bounds;
    engine_incumbent incumbent;
    engine_silence silence;

    std::unique_ptr<OsiClpSolverInterface> original;
    std::unique_ptr<CglPreProcess> process; // owns what it makes
    OsiSolverInterface *reduced = nullptr;  // of `process`, or `original` without
    std::unique_ptr<CbcModel> cbc;
    double applied = infinity; // the cutoff that the search has
    double claimed = infinity; // the best value it said it had found
    double bound = -infinity;  // proved so far, minimising
    bool exhausted = false;    // everything has been looked at
};

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
            if (which == treeStatus) search->treestatus();
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
        if (model_ == top) search->applycutoff();
        return 0; // no solution found
    }

  private:
    mip_search *search;
    const CbcModel *top;
};

// The solver interface around a model, silent and without a hand on SIGINT.
std::unique_ptr<OsiClpSolverInterface> wrap(const engine_model &model, const engine_params &params,
                                            engine_poll &poll, engine_silence &silence)
{
    auto clp = std::make_unique<ClpSimplex>();
    engine_load(model, params, poll, silence, clp.get());
    auto osi = std::make_unique<OsiClpSolverInterface>(clp.release(), true);
    osi->passInMessageHandler(&silence);
    osi->setHintParam(OsiDoReducePrint, true, OsiHintTry);
    ClpSolve options;
    options.setSpecialOption(2, 1);
    osi->setSolveOptions(options);
    osi->setIntParam(OsiMaxNumIterationHotStart, 100);
    for (int j = 0; j < model.numcols; j++)
        if (engine_isint(model, j)) osi->setInteger(j);
    return osi;
}

void mip_search::run()
{
    result.method = VNT_METHOD_MIP;
    if (engine_triviallyinfeasible(model, params.feasibility, &result)) {
        result.status = VNT_STAT_INFEASIBLE;
        return;
    }
    engine_result empty;
    empty.method = VNT_METHOD_MIP;
    if (engine_solveempty(model, params.feasibility, &empty)) {
        if (separated(empty)) return;
        result = std::move(empty);
        if (result.status == VNT_STAT_OPTIMAL) result.solutions.push_back(result.x);
        return;
    }
    original = wrap(model, params, poll, silence);
    if (!relax()) return;
    start();
    reduce();
    search();
    if (exhausted && lost()) {
        poll.log(1, 1, "Preprocessing has lost a solution: searching without it.\n");
        unreduce();
        search();
    }
    conclude();
}

// Gives a solver the basis of a solved relaxation.  The side that a row without basic status is at
// is left to the solver.
void startfrom(const engine_result &r, OsiClpSolverInterface *osi)
{
    static constexpr CoinWarmStartBasis::Status status[] = {
        CoinWarmStartBasis::atLowerBound, CoinWarmStartBasis::basic,
        CoinWarmStartBasis::atUpperBound, CoinWarmStartBasis::isFree};
    CoinWarmStartBasis basis;
    basis.setSize(static_cast<int>(r.cstat.size()), static_cast<int>(r.rstat.size()));
    for (size_t j = 0; j < r.cstat.size(); j++)
        basis.setStructStatus(static_cast<int>(j), status[r.cstat[j]]);
    for (size_t i = 0; i < r.rstat.size(); i++)
        basis.setArtifStatus(static_cast<int>(i), status[r.rstat[i]]);
    osi->setWarmStart(&basis);
    osi->resolve();
}

// Whether the relaxation's point violates rows that wait beside the problem.  Without a limit it
// has none; then all constraints that wait are wanted.
bool mip_search::separated(const engine_result &relaxed)
{
    if (lazy == nullptr) return false;
    bool any = relaxed.status == VNT_STAT_OPTIMAL     ? lazy->violated(relaxed.x.data(), true)
               : relaxed.status == VNT_STAT_UNBOUNDED ? lazy->all()
                                                      : false;
    if (!any) return false;
    lazy->startfrom(relaxed);
    poll.endround();
    return true;
}

// Solves the relaxation.  False when that was all: it has no feasible point, no limit, or was
// stopped.
bool mip_search::relax()
{
    engine_model relaxation = model;
    relaxation.ctype = nullptr;
    relaxation.numpairs = 0;
    engine_result r;
    engine_runlp(relaxation, params, ENGINE_DUAL, true, poll, &r);
    if (separated(r)) return false;
    if (r.status == VNT_STAT_OPTIMAL) {
        raise(model.sense * r.objective);
        startfrom(r, original.get());
        return true;
    }
    if (r.status == VNT_STAT_UNBOUNDED) {
        model.numpairs > 0 ? boxed() : unbounded(r);
        return false;
    }
    result.status = r.status;
    result.farkas = std::move(r.farkas);
    result.proof = r.proof;
    fill();
    return false;
}

// A search without objective.
engine_result mip_search::findfeasible()
{
    std::vector<double> zero(model.numcols, 0.0);
    engine_model feasibility = model;
    feasibility.objective = zero.data();
    feasibility.numstarts = 0;
    poll.ignorecutoff = true;
    engine_result r;
    mip_search(feasibility, params, poll, r, lazy, true).run();
    poll.seen.solution = nullptr;
    poll.ignorecutoff = false;
    return r;
}

// Without a limit in its relaxation a problem is unbounded, as its data are rational, unless it has
// no feasible point at all.
void mip_search::unbounded(const engine_result &relaxed)
{
    engine_result r = findfeasible();
    if (r.solutions.empty()) {
        result.status = r.status;
        fill();
        return;
    }
    poll.ignorecutoff = true; // there is no best value to hold against it
    incumbent.offer(r.solutions.back());
    fill();
    result.status = VNT_STAT_UNBOUNDED;
    result.ray = relaxed.ray;
}

// With pairs, a relaxation without a limit says little.  The search goes on with all columns in a
// box, and where its answer rests there, the rest of the problem decides.
void mip_search::boxed()
{
    engine_arrays box(model);
    for (int j = 0; j < model.numcols; j++) {
        double &lower = box.collower[j], &upper = box.colupper[j];
        if (engine_isinf(lower)) lower = std::min(-box_size, upper - box_size);
        if (engine_isinf(upper)) upper = std::max(box_size, lower + box_size);
    }
    engine_model inside = model;
    inside.collower = box.collower.data();
    inside.colupper = box.colupper.data();
    engine_result r;
    mip_search(inside, params, poll, r, lazy, true).run();
    poll.seen.solution = nullptr;
    if (r.status == VNT_STAT_INFEASIBLE) return outofbox();
    result.status = r.status;
    if (!r.solutions.empty()) settleboxed(r.solutions.back());
    fill();
}

// Nothing in the box: nothing at all, or at least nothing that can be judged.
void mip_search::outofbox()
{
    engine_result r = findfeasible();
    result.status = r.status == VNT_STAT_INFEASIBLE ? r.status
                    : poll.ended() != 0             ? poll.ended()
                                                    : VNT_STAT_NUMERICAL;
    if (!r.solutions.empty()) incumbent.offer(r.solutions.back());
    fill();
}

// The choices of the box's best point are held, and the rest is let out of the box.
void mip_search::settleboxed(const std::vector<double> &x)
{
    engine_arrays held(model);
    bool touches = false;
    for (int j = 0; j < model.numcols; j++) {
        bool choice = engine_isint(model, j) && held.collower[j] >= 0 && held.colupper[j] <= 1;
        if (choice) held.collower[j] = held.colupper[j] = std::round(x[j]);
        bool open = engine_isinf(model.collower[j]) || engine_isinf(model.colupper[j]);
        touches = touches || (open && std::fabs(x[j]) >= box_size / 2);
    }
    for (int k = 0; k < model.numpairs; k++)
        if (x[model.pairs[2 * k]] > 0.5) held.colupper[model.pairs[2 * k + 1]] = 0;
    engine_model rest = model;
    rest.collower = held.collower.data();
    rest.colupper = held.colupper.data();
    rest.ctype = nullptr;
    rest.numpairs = 0;
    engine_result r;
    engine_runlp(rest, params, ENGINE_DUAL, true, poll, &r);
    incumbent.offer(x);
    if (r.status == VNT_STAT_UNBOUNDED) {
        result.status = VNT_STAT_UNBOUNDED;
        result.ray = std::move(r.ray);
    } else if (touches && poll.ended() == 0) {
        result.status = VNT_STAT_NUMERICAL;
    }
}

void mip_search::start()
{
    if (nodesbefore > 0 && incumbent.there()) return; // tried in an earlier round
    for (int k = 0; k < model.numstarts && poll.ended() == 0; k++)
        if (!trystart(model.starts[k])) poll.log(1, 1, "Start %d is not feasible.\n", k + 1);
}

// One of the caller's starts: its integer columns are held, the others found.
bool mip_search::trystart(const double *given)
{
    std::vector<double> x =
        engine_fixandsolve(model, params, poll, std::vector<double>(given, given + model.numcols));
    if (x.empty()) return false;
    if (engine_fraction(model, x.data()) <= params.integrality)
        incumbent.offer(std::move(x));
    else
        completestart(given);
    return true;
}

// A start that leaves integer columns open is completed by a short search.
void mip_search::completestart(const double *given)
{
    engine_arrays held(model);
    for (int j = 0; j < model.numcols; j++)
        if (engine_isint(model, j) && !std::isnan(given[j]))
            held.collower[j] = held.colupper[j] = std::round(given[j]);
    engine_model rest = model;
    rest.collower = held.collower.data();
    rest.colupper = held.colupper.data();
    rest.numstarts = 0;
    engine_params brief = params;
    brief.nodelimit = 200;
    brief.solutionlimit = INT64_MAX;
    engine_result r;
    mip_search(rest, brief, poll, r, lazy, true).run();
    poll.seen.solution = nullptr;
    if (!r.solutions.empty()) incumbent.offer(r.solutions.back());
}

// Preprocesses.  When that says there is no feasible point, which is not always so, the model is
// searched as it is.
void mip_search::reduce()
{
    unreduce();
    // Preprocessing knows no pairs.
    if (!engine_haspresolve(model, params) || model.numpairs > 0 || poll.ended() != 0) return;
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
    if (engine_intsbounded(model)) process->addCutGenerator(&probing);
    constexpr int passes = 10, keepduplicates = 4096; // merging integer columns loses solutions
    reduced = process->preProcessNonDefault(*original, 0, passes, keepduplicates);
    if (reduced == nullptr) {
        unreduce();
        return;
    }
    keepcontinuous();
    poll.log(2, 3, "reduced to %d rows, %d columns (%d integer)\n", reduced->getNumRows(),
             reduced->getNumCols(), reduced->getNumIntegers());
}

// Preprocessing declares continuous columns integer, at times where that loses solutions.
void mip_search::keepcontinuous()
{
    const int *from = process->originalColumns();
    for (int j = 0; j < reduced->getNumCols(); j++)
        if (from[j] < model.numcols && !engine_isint(model, from[j])) reduced->setContinuous(j);
}

void mip_search::unreduce()
{
    cbc.reset();
    process.reset();
    reduced = original.get();
    setbounds();
    applied = claimed = infinity;
    exhausted = false;
}

// Preprocessing and its undoing leave the original with bounds of their own.
void mip_search::setbounds()
{
    original->setColLower(bounds.collower.data());
    original->setColUpper(bounds.colupper.data());
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

void mip_search::search()
{
    if (poll.ended() != 0) return;
    reduced->setIntParam(OsiMaxNumIterationHotStart, 100);
    if (reduced->getNumCols() == 0 || reduced->getNumIntegers() == 0) {
        leaf();
        return;
    }
    cbc = std::make_unique<CbcModel>(*reduced);
    setup();
    poll.atend = [this] { cbc->setMaximumSeconds(-1); }; // the search looks there most often
    poll.seen.search = true;
    if (poll.ended() == 0) cbc->initialSolve();
    if (poll.ended() == 0) cbc->branchAndBound();
    poll.atend = nullptr;
    exhausted = poll.ended() == 0 && cbc->status() == 0;
    result.cuts = 0;
    for (int i = 0; i < cbc->numberCutGenerators(); i++)
        result.cuts += cbc->cutGenerator(i)->numberCutsActive();
}

// What preprocessing left has no integer column: a linear problem.
void mip_search::leaf()
{
    reduced->resolve();
    if (reduced->isProvenOptimal()) {
        claimed = reduced->getObjValue();
        incumbent.offer(lift(reduced->getColSolution()));
    }
    exhausted = poll.ended() == 0;
}

void mip_search::setup()
{
    cbc->passInMessageHandler(&silence);
    cbc->setLogLevel(0);
    usualoptions();
    mip_events events(*this, poll, cbc.get());
    cbc->passInEventHandler(&events);
    CbcCompareDefault order;
    cbc->setNodeComparison(order);
    limits();
    if (params.cuts) addcuts();
    if (params.heuristics && model.numpairs == 0) addheuristics(); // they know none, either
    addpairs();
    setorder();
    cutoff_carrier carrier(*this, *cbc);
    cbc->addHeuristic(&carrier);
}

// What the library's own driver sets for all but special models; together they halve the time.
void mip_search::usualoptions()
{
    auto *solver = dynamic_cast<OsiClpSolverInterface *>(cbc->solver());
    // Not 1, "keep work regions": with it the library aborts the process now and then.
    constexpr int ownmodel = 1024;
    solver->setSpecialOptions(ownmodel);
    ClpSimplex *clp = solver->getModelPtr();
    clp->setSpecialOptions(clp->specialOptions() | COIN_CBC_USING_CLP);
    constexpr int checkfrombasis = 2, carefulcuts = 4096; // without it an assertion fails at times
    cbc->setSpecialOptions(cbc->specialOptions() | checkfrombasis | carefulcuts);
    // Deep nodes of small problems are finished off in one go, which knows no pairs.
    if (model.numpairs == 0 && narrow()) cbc->setFastNodeDepth(-12);
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

// The search does not hold nodes that were finished off in one go against its limit.  Near the
// limit there are none of these: one go may look at some 15,000.
void mip_search::countnodes()
{
    constexpr int64_t mostatonce = 16000;
    int64_t extra = cbc->getExtraNodeCount(), left = params.nodelimit - nodesbefore - extra;
    cbc->setMaximumNodes(static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX)));
    if (left - cbc->getNodeCount() <= mostatonce) cbc->setFastNodeDepth(-1);
}

void mip_search::limits()
{
    countnodes();
    cbc->setIntegerTolerance(std::max(params.integrality, 1e-9));
    cbc->setAllowableGap(params.absgap);
    cbc->setAllowableFractionGap(params.relgap);
    cbc->setPrintFrequency(1); // the event of a clean tree, at every node
    if (params.seed > 0) cbc->setRandomSeed(params.seed);
    applycutoff();
    choosestrength();
}

void mip_search::choosestrength()
{
    // What compares pseudo costs ends the process when it meets a pair.
    cbc->setNumberStrong(model.numpairs > 0 ? 0 : 5);
    cbc->setNumberBeforeTrust(0);
    if (model.numpairs > 0) return;
    int columns = reduced->getNumCols();
    cbc->setNumberBeforeTrust(columns <= 50    ? 1000
                              : columns <= 100 ? 100
                              : columns <= 300 ? 50
                                               : 10);
}

// Each generator's work is bounded: they run for as long as it takes otherwise, without a poll.
void mip_search::addcuts()
{
    constexpr int if_it_helps = -98; // at the root; in the tree while it moves the bound
    CglProbing probing;
    probing.setUsingObjective(1);
    probing.setMaxPass(1);
    probing.setMaxPassRoot(1);
    probing.setMaxProbe(123);
    probing.setMaxProbeRoot(123);
    probing.setMaxLook(10);
    probing.setMaxLookRoot(20);
    probing.setMaxElements(200);
    probing.setMaxElementsRoot(300);
    probing.setRowCuts(3);
    CglGomory gomory;
    gomory.setLimitAtRoot(1000);
    gomory.setLimit(50);
    gomory.setAwayAtRoot(0.005);
    CglKnapsackCover knapsack;
    CglClique clique;
    clique.setStarCliqueReport(false);
    clique.setRowCliqueReport(false);
    clique.setMinViolation(0.1);
    CglMixedIntegerRounding2 mir;
    mir.setMULTIPLY_(0); // rows multiplied by -1 yield cuts that lose solutions
    mir.setDoPreproc(1);
    CglFlowCover flow;
    CglTwomir twomir;
    twomir.setMaxElements(250);
    twomir.setAwayAtRoot(0.005);
    twomir.setAway(0.01);

    struct {
        CglCutGenerator *generator;
        const char *name;
        int inaccuracy;
    } const rows[] = {
        {&probing, "probing", 5},
        {&gomory, "Gomory", 3},
        {&knapsack, "knapsack", 1},
        {&clique, "clique", 0},
        {&mir, "mixed integer rounding", 2},
        {&flow, "flow cover", 2},
        {&twomir, "two-step rounding", 4},
    };
    for (const auto &row : rows) {
        if (row.generator == &probing && !engine_intsbounded(model)) continue;
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

void mip_search::addpairs()
{
    constexpr double weights[] = {1, 2};
    std::vector<std::unique_ptr<CbcObject>> owned;
    std::vector<CbcObject *> objects;
    for (int k = 0; k < model.numpairs; k++) {
        owned.push_back(std::make_unique<CbcSOS>(cbc.get(), 2, model.pairs + 2 * k, weights, k, 1));
        objects.push_back(owned.back().get());
    }
    if (!objects.empty()) cbc->addObjects(static_cast<int>(objects.size()), objects.data());
}

// Columns that preprocessing made have no place in the caller's order.
void mip_search::setorder()
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

void mip_search::addheuristics()
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

void mip_search::solution(const double *x)
{
    if (x == nullptr || cbc->getMinimizationObjValue() >= incumbent.value()) return;
    claimed = std::min(claimed, cbc->getMinimizationObjValue());
    incumbent.offer(lift(x));
}

// Between two nodes: the tree is whole, and its bounds hold for everything that is left.
void mip_search::treestatus()
{
    if (std::isfinite(applied) && !incumbent.there()) byobjective();
    countnodes();
    if (inner) return;
    // Nodes that were finished off in one go are counted apart until the search ends.
    poll.seen.nodes = nodesbefore + cbc->getNodeCount() + cbc->getExtraNodeCount();
    poll.seen.nodesleft = cbc->tree()->size();
    raise(cbc->getBestPossibleObjValue());
    // The event goes over the whole tree; in a large one it comes less often.
    cbc->setPrintFrequency(1 + cbc->tree()->size() / 1000);
}

// What is proved is told, but never as better than the incumbent or a cutoff: beyond these the
// search did not look.
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
    double step = engine_objectivestep(model), origin = model.sense * model.offset;
    if (step <= 10 * noise) return cutoff - noise;
    double next = std::ceil((cutoff - noise - origin) / step) - 1;
    return origin + next * step + 0.1 * step;
}

void mip_search::applycutoff()
{
    double cutoff = std::min(poll.cutoff(), incumbent.value());
    if (cutoff >= applied) return;
    applied = cutoff;
    cutoff = strictly(cutoff);
    if (cutoff < cbc->getCutoff()) cbc->setCutoff(cutoff);
}

// Without a solution the search goes deep to find one.  Where a cutoff is known, the aim is rather
// to show that nothing beats it: it takes the nodes by their objective then, as it does later on.
void mip_search::byobjective()
{
    auto *order = dynamic_cast<CbcCompareDefault *>(cbc->nodeComparison());
    if (order->getWeight() == 0) return;
    order->setWeight(0);
    if (cbc->tree()->size() > 0) cbc->tree()->setComparison(*order);
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
    setbounds();
    return found;
}

// The status of a search that came to its end by itself.
int mip_search::verdict()
{
    double best = incumbent.value(), cutoff = poll.cutoff();
    bool ongap = cbc != nullptr && cbc->secondaryStatus() == 2;
    raise(ongap ? cbc->getBestPossibleObjValue() : infinity);
    if (std::isfinite(cutoff) && best > cutoff + 1e-9 * std::max(1.0, std::fabs(cutoff)))
        return VNT_STAT_CUTOFF;
    if (!incumbent.there()) return VNT_STAT_INFEASIBLE;
    bool closed = best - bound <= 1e-9 * std::max(1.0, std::fabs(best));
    return closed ? VNT_STAT_OPTIMAL : VNT_STAT_OPTIMAL_TOLERANCE;
}

void mip_search::conclude()
{
    if (exhausted)
        result.status = verdict();
    else if (poll.ended() != 0)
        result.status = poll.ended();
    else
        result.status = cbc->isNodeLimitReached() ? VNT_STAT_NODE_LIMIT : VNT_STAT_NUMERICAL;
    if (cbc != nullptr && !inner) poll.seen.nodes = nodesbefore + cbc->getNodeCount();
    fill();
}

void mip_search::fill()
{
    result.cutoff = model.sense * std::min(poll.cutoff(), VNT_INFINITY);
    result.bound = model.sense * std::clamp(bound, -VNT_INFINITY, VNT_INFINITY);
    result.iterations = poll.seen.iterations;
    result.phase1iterations = poll.phase1iterations;
    result.nodes = poll.seen.nodes;
    result.nodesleft = exhausted ? 0 : poll.seen.nodesleft;
    result.ticks = poll.seen.ticks;
    if (!incumbent.there()) return;
    result.x = result.solutions.back();
    result.primalfeasible = true;
    engine_fillrows(model, &result);
    if (result.status == VNT_STAT_OPTIMAL) result.bound = result.objective;
}

} // namespace

int engine_solvemip(const engine_model &model, const engine_params &params,
                    const engine_hooks &hooks, engine_result *result)
{
    *result = engine_result();
    engine_poll poll(params, hooks, model.sense);
    engine_lazyrows lazy(model, params.feasibility);
    return engine_attempts(model, poll, result, [&](bool again) {
        engine_params safer = params;
        safer.cuts = 0; // most aborts come from the counting of cuts
        do {
            lazy.join();
            mip_search(lazy.model(), again ? safer : params, poll, *result, &lazy).run();
        } while (poll.nextround());
    });
}

} // namespace vnt
