#include "solver/engine/barrier.h"

#include <ClpCholeskyBase.hpp>
#include <ClpInterior.hpp>
#include <ClpPresolve.hpp>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace vnt {

namespace {

// The interior point, with a look at what it keeps to itself.
class watched_interior : public ClpInterior {
  public:
    // Where a problem has no optimum the method runs off to infinity, at times within one step, and
    // when it finds its norms beyond 1e40 it aborts the process.  It always complains of errors in
    // that step first, and while it does this is called: it then finds its norms large but
    // bearable, and the next event sees `ran_away`.
    void hold_back()
    {
        constexpr double far = 1e30;
        ran_away = ran_away || !(std::max(solutionNorm_, objectiveNorm_) < far);
        solutionNorm_ = std::min(solutionNorm_, far);
        objectiveNorm_ = std::min(objectiveNorm_, far);
    }
    bool diverges() const { return ran_away || !(std::max(solutionNorm_, objectiveNorm_) < 1e15); }
    double value() const { return primalObjective() - objectiveOffset(); }

  private:
    bool ran_away = false;
};

// Swallows the interior point's messages, and takes them as the moment to hold it back.
class interior_messages : public CoinMessageHandler {
  public:
    explicit interior_messages(watched_interior &interior) : interior(&interior)
    {
        // The level of the messages' class: at a general one other parts print by themselves.
        constexpr int general = 0, linear_solver = 1, details = 4;
        setLogLevel(0);
        CoinMessageHandler::setLogLevel(general, 0);
        CoinMessageHandler::setLogLevel(linear_solver, details);
    }
    CoinMessageHandler *clone() const override { return new interior_messages(*this); }
    int print() override
    {
        interior->hold_back();
        return 0;
    }

  private:
    watched_interior *interior;
};

// A factorisation takes most of an iteration: the poll point is on both sides of it.
class polled_cholesky : public ClpCholeskyBase {
  public:
    explicit polled_cholesky(engine_poll &poll) : poll(&poll) {}
    ClpCholeskyBase *clone() const override { return new polled_cholesky(*this); }

    int factorize(const double *diagonal, int *dropped) override
    {
        constexpr int give_up = -1; // "out of memory": the method returns at once
        if (poll->tick()) return give_up;
        int result = ClpCholeskyBase::factorize(diagonal, dropped);
        return poll->tick() ? give_up : result;
    }

  private:
    engine_poll *poll;
};

class interior_events : public ClpEventHandler {
  public:
    interior_events(engine_poll &poll, const watched_interior &interior)
        : poll(&poll), interior(&interior)
    {
    }
    interior_events(const interior_events &) = default;
    ClpEventHandler *clone() const override { return new interior_events(*this); }

    int event(Event which) override
    {
        if (which != endOfIteration) return -1;
        bool end = poll->barrier_iteration(interior->value(), interior->complementarityGap());
        return end || interior->diverges() ? 0 : -1;
    }

  private:
    engine_poll *poll;
    const watched_interior *interior;
};

// Moves lp's point to near an optimum.  False when it ran away or was stopped.
bool interior_point(engine_poll &poll, ClpSimplex *lp)
{
    watched_interior interior;
    interior.borrowModel(*lp);
    interior_events events(poll, interior);
    interior.passInEventHandler(&events);
    interior_messages messages(interior);
    interior.passInMessageHandler(&messages);
    interior.setCholesky(new polled_cholesky(poll)); // the interior point's from here
    interior.scaling(0);
    if (lp->numberRows() + lp->numberColumns() > 10000) interior.setMaximumBarrierIterations(1000);
    interior.primalDual();
    bool arrived = interior.status() >= 0 && interior.status() < 4 && !interior.diverges();
    interior.returnModel(*lp);
    return arrived && poll.ended() == 0;
}

// Columns well between their bounds, those farthest from them first, are the best guess at a basis;
// the simplex method takes it and the point from there.
void crossover(ClpSimplex *lp)
{
    const double tolerance = lp->primalTolerance();
    const double *lower = lp->columnLower(), *upper = lp->columnUpper();
    double *x = lp->primalColumnSolution();
    std::vector<double> distance(lp->numberColumns());
    std::vector<int> between;
    lp->createStatus();
    for (int i = 0; i < lp->numberRows(); i++)
        lp->setRowStatus(i, ClpSimplex::superBasic);
    for (int j = 0; j < lp->numberColumns(); j++) {
        distance[j] = std::min(upper[j] - x[j], x[j] - lower[j]);
        if (distance[j] > tolerance) {
            lp->setColumnStatus(j, ClpSimplex::superBasic);
            if (distance[j] > 10 * tolerance) between.push_back(j);
        } else if (x[j] <= lower[j] + tolerance) {
            lp->setColumnStatus(j, ClpSimplex::atLowerBound);
            x[j] = lower[j];
        } else {
            lp->setColumnStatus(j, ClpSimplex::atUpperBound);
            x[j] = upper[j];
        }
    }
    std::stable_sort(between.begin(), between.end(),
                     [&](int a, int b) { return distance[a] > distance[b]; });
    if (static_cast<int>(between.size()) > lp->numberRows()) between.resize(lp->numberRows());
    for (int j : between)
        lp->setColumnStatus(j, ClpSimplex::basic);
    lp->setPerturbation(100);
    lp->primal(1);
}

} // namespace

void engine_run_barrier(const engine_model &model, const engine_params &params, engine_poll &poll,
                        bool to_basis, ClpSimplex *clp)
{
    ClpPresolve presolve;
    engine_limit_presolve(model, &presolve);
    std::unique_ptr<ClpSimplex> small;
    bool smaller = engine_has_presolve(model, params);
    if (smaller) small.reset(presolve.presolvedModel(*clp, 1e-8, false, 5, true));
    bool impossible = smaller && small == nullptr;
    ClpSimplex *lp = small == nullptr ? clp : small.get();
    bool arrived = !impossible && interior_point(poll, lp);
    if (arrived && to_basis) crossover(lp);
    if (small != nullptr) presolve.postsolve(true);
    if (!arrived) {
        clp->allSlackBasis(true);
        clp->dual();
    } else if (to_basis) {
        clp->primal(1);
    } else {
        clp->setProblemStatus(0);
    }
}

} // namespace vnt
