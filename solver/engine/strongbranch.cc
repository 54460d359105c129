#include "solver/engine/clp.h"
#include "solver/engine/guard.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace vnt {

namespace {

class branch_trials {
  public:
    branch_trials(const engine_model &model, const engine_params &params, engine_poll &poll,
                  int64_t limit)
        : model(model), params(params), poll(poll), limit(limit)
    {
    }
    void start();
    double branch(int j, bool down);

    double objective = 0; // before any branch

  private:
    const engine_model &model;
    const engine_params &params;
    engine_poll &poll;
    int64_t limit;
    engine_silence silence;
    ClpSimplex clp;
    std::vector<unsigned char> status;
    std::vector<double> x;
};

void branch_trials::start()
{
    engine_load(model, params, poll, silence, &clp);
    engine_start_basis(model, &clp);
    clp.setPerturbation(100); // off: an objective on the way is that of the true costs
    clp.dual();
    const double *found = clp.primalColumnSolution();
    x.assign(found, found + model.numcols);
    status.assign(clp.statusArray(), clp.statusArray() + model.numcols + model.numrows);
    objective = engine_objective(model, x.data());
}

double branch_trials::branch(int j, bool down)
{
    if (poll.ended() != 0) return objective;
    double near = std::round(x[j]), low = clp.columnLower()[j], high = clp.columnUpper()[j];
    bool whole = std::fabs(x[j] - near) <= params.integrality;
    double to = down ? (whole ? near - 1 : std::floor(x[j])) : (whole ? near + 1 : std::ceil(x[j]));
    if (down ? to < low : to > high) return model.sense * VNT_INFINITY;
    std::copy(status.begin(), status.end(), clp.statusArray());
    clp.setColumnBounds(j, down ? low : to, down ? to : high);
    clp.setNumberIterations(0);
    clp.setMaximumIterations(static_cast<int>(std::min<int64_t>(limit, INT_MAX)));
    clp.dual();
    double reached = engine_objective(model, clp.primalColumnSolution());
    clp.setColumnBounds(j, low, high);
    if (clp.status() == 1) return model.sense * VNT_INFINITY;
    bool bounds = clp.status() == 0 || clp.status() == 3;
    return bounds && poll.ended() == 0 ? reached : objective;
}

} // namespace

int engine_strong_branch(const engine_model &model, const engine_params &params,
                         const engine_hooks &hooks, const std::vector<int> &indices, int64_t limit,
                         std::vector<double> *down, std::vector<double> *up, uint64_t *ticks)
{
    engine_poll poll(params, hooks, model.sense);
    branch_trials trials(model, params, poll, limit);
    std::string cause;
    int rc = guard_run(
        [&] {
            trials.start();
            for (int j : indices) {
                down->push_back(trials.branch(j, true));
                up->push_back(trials.branch(j, false));
            }
        },
        &cause);
    *ticks = poll.seen.ticks;
    return rc;
}

} // namespace vnt
