// Solving networks, and what the last solve left.

#include "solver/calls/network_words.h"
#include "solver/calls/solve.h"

#include <cmath>

using namespace vnt;

// With whole numbers for supplies and bounds, basic flows are whole as well: what the engine's
// arithmetic leaves behind the point goes.
static bool whole(const std::vector<double> &values)
{
    return std::all_of(values.begin(), values.end(),
                       [](double v) { return std::fabs(v) < 1e15 ? v == std::round(v) : true; });
}

static void round_flows(const model &m, const network &n, answer *last)
{
    if (last->solution != VNT_SOLUTION_BASIC || !last->primal_feasible) return;
    if (!whole(n.supply) || !whole(n.lower) || !whole(n.upper)) return;
    for (double &x : last->x)
        x = std::round(x) + 0.0;
    last->slack = m.slacks(last->x.data());
    last->objective = m.objective_at(last->x.data());
}

// The dual simplex method on the network's linear problem.
static void solve_network(vntenv &env, vntnet &p)
{
    vntlp lp;
    lp.m = p.n.linear();
    lp.set_basis(p.astat, p.nstat);
    p.changed();
    solve_lp(env, lp, ENGINE_DUAL);
    p.last = std::move(lp.last);
    p.last.method = VNT_METHOD_NETWORK;
    if (lp.has_basis()) {
        p.astat = std::move(lp.cstat);
        p.nstat = std::move(lp.rstat);
    }
    round_flows(lp.m, p.n, &p.last);
}

int VNTLNETprimopt(VNTENVptr env, VNTNETptr net)
{
    return with_environment(env, [&](vntenv &e) { solve_network(e, network_of(e, net)); });
}

static const answer &answer_of(const vntnet &p)
{
    require(p.last.has_solution(), VNTERR_NO_SOLUTION);
    return p.last;
}

int VNTLNETgetstat(VNTENVptr env, VNTNETptr net)
{
    return network_count(env, net, [](vntnet &p) { return p.last.status; });
}

int VNTLNETgetobjval(VNTENVptr env, VNTNETptr net, double *objval_p)
{
    return with_network(env, net, [&](vntnet &p) { put(objval_p, answer_of(p).objective); });
}

int VNTLNETgetx(VNTENVptr env, VNTNETptr net, double *x, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) { put_range(answer_of(p).x, x, begin, end); });
}

int VNTLNETgetpi(VNTENVptr env, VNTNETptr net, double *pi, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) { put_range(answer_of(p).pi, pi, begin, end); });
}

int VNTLNETgetslack(VNTENVptr env, VNTNETptr net, double *slack, int begin, int end)
{
    return with_network(env, net,
                        [&](vntnet &p) { put_range(answer_of(p).slack, slack, begin, end); });
}

int VNTLNETgetdj(VNTENVptr env, VNTNETptr net, double *dj, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) { put_range(answer_of(p).dj, dj, begin, end); });
}

int VNTLNETsolution(VNTENVptr env, VNTNETptr net, int *netstat_p, double *objval_p, double *x,
                    double *pi, double *slack, double *dj)
{
    return with_network(env, net, [&](vntnet &p) {
        put(netstat_p, p.last.status);
        const answer &last = answer_of(p);
        put(objval_p, last.objective);
        put_range(last.x, x, 0, p.n.numarcs() - 1);
        put_range(last.pi, pi, 0, p.n.numnodes() - 1);
        put_range(last.slack, slack, 0, p.n.numnodes() - 1);
        put_range(last.dj, dj, 0, p.n.numarcs() - 1);
    });
}

int VNTLNETsolninfo(VNTENVptr env, VNTNETptr net, int *pfeasind_p, int *dfeasind_p)
{
    return with_network(env, net, [&](vntnet &p) {
        put(pfeasind_p, static_cast<int>(p.last.primal_feasible));
        put(dfeasind_p, static_cast<int>(p.last.dual_feasible));
    });
}

int64_t VNTLNETgetitcnt(VNTENVptr env, VNTNETptr net)
{
    return network_count(env, net, [](vntnet &p) { return p.last.iterations; });
}

int64_t VNTLNETgetphase1cnt(VNTENVptr env, VNTNETptr net)
{
    return network_count(env, net, [](vntnet &p) { return p.last.phase1_iterations; });
}

// The basis.

int VNTLNETgetbase(VNTENVptr env, VNTNETptr net, int *astat, int *nstat)
{
    return with_network(env, net, [&](vntnet &p) {
        require(p.has_basis(), VNTERR_NO_BASIS);
        put_range(p.astat, astat, 0, p.n.numarcs() - 1);
        put_range(p.nstat, nstat, 0, p.n.numnodes() - 1);
    });
}

int VNTLNETcopybase(VNTENVptr env, VNTNETptr net, const int *astat, const int *nstat)
{
    return with_network(env, net, [&](vntnet &p) {
        std::vector<int> arcs = basis_copy(astat, p.n.numarcs());
        std::vector<int> nodes = basis_copy(nstat, p.n.numnodes());
        basis_check(arcs, nodes);
        p.astat = std::move(arcs);
        p.nstat = std::move(nodes);
    });
}
