import numpy as np
import pytest
import scipy.optimize as so

import vanto

pulp = pytest.importorskip("pulp")


def test_linprog_and_milp_agree_with_scipy(place):
    random = np.random.default_rng(1)
    for _ in range(25):
        m, n = random.integers(1, 8, 2)
        c, A = random.integers(-9, 10, n), random.integers(-5, 9, (m, n))
        b = random.integers(0, 30, m)
        equal = random.integers(-3, 4, (1, n))
        bounds = np.column_stack([random.integers(-4, 1, n), random.integers(1, 9, n)])
        ours = vanto.linprog(c, A, b, equal, [1], bounds, options={"server": place})
        theirs = so.linprog(c, A, b, equal, [1], bounds)
        assert ours.status == theirs.status
        if theirs.success:
            assert ours.fun == pytest.approx(theirs.fun, abs=1e-6)
            assert (ours.slack >= -1e-6).all() and abs(ours.con).max() < 1e-6
            # The dual objective, whichever of several optimal duals it is.
            dual = (ours.ineqlin.marginals @ b + ours.eqlin.marginals @ [1]
                    + ours.lower.marginals @ bounds[:, 0] + ours.upper.marginals @ bounds[:, 1])
            assert dual == pytest.approx(theirs.fun, abs=1e-5)
        arguments = dict(integrality=random.integers(0, 2, n), bounds=tuple(bounds.T.astype(float)),
                         constraints=so.LinearConstraint(A, -np.inf, b))
        ours, theirs = vanto.milp(c, **arguments, options={"server": place}), so.milp(c, **arguments)
        assert ours.success == theirs.success
        if theirs.success:  # scipy 1.10 does not always find the best
            assert ours.fun <= theirs.fun + 1e-6 and (A @ ours.x <= b + 1e-6).all()
            whole = ours.x[arguments["integrality"] == 1]
            assert abs(whole - whole.round()).max(initial=0) < 1e-6


@pytest.mark.parametrize("options", [{"spam": 1}, {"maxiter": -1}, {"presolve": "yes"},
                                     {"time_limit": "long"}])
def test_what_is_no_option_is_left_out_with_a_warning(place, options):
    for solve in (vanto.linprog, vanto.milp):
        with pytest.warns(so.OptimizeWarning, match=next(iter(options))):
            assert solve([1, 1], options={"server": place, **options}).fun == 0
    with pytest.warns(so.OptimizeWarning, match="integrality"):
        whole = vanto.linprog([-1], [[2]], [3], integrality=1, method="dual",
                              options={"server": place})
    assert whole.x.tolist() == [1.5]
    with pytest.raises(ValueError, match="A_ub"):
        vanto.linprog([1, 2], np.zeros((1, 1, 3)), [1])


def test_pulp(place):
    from vanto.pulp import VANTO
    problem = pulp.LpProblem("diet", pulp.LpMaximize)
    x, y = pulp.LpVariable("x", 0, 4), pulp.LpVariable("y", 0, 3, pulp.LpInteger)
    problem += 2 * x + 3 * y
    problem += x + 2 * y <= 7, "row"
    x.setInitialValue(1)
    y.setInitialValue(3)
    assert problem.solve(VANTO(server=place, msg=False, warmStart=True)) == pulp.LpStatusOptimal
    assert pulp.value(problem.objective) == pytest.approx(12)
    problem.solve(VANTO(server=place, msg=False, mip=False))
    assert pulp.value(problem.objective) == pytest.approx(12.5)
    assert problem.constraints["row"].pi == pytest.approx(1.5)
    problem += x + y >= 100
    assert problem.solve(VANTO(server=place, msg=False)) == pulp.LpStatusInfeasible


def test_plots(models, tmp_path):
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("Agg")
    with vanto.Environment() as env:
        results = [env.read(models / n).solve() for n in ("p0033.mps", "egout.mps")]
    axes = results[0].plot()
    axes.figure.savefig(tmp_path / "history.svg")
    axes = vanto.plot_sweep({"ours": results, "slow": [9.0, None]})
    axes.figure.savefig(tmp_path / "sweep.png")
    with pytest.raises(ValueError):
        vanto.plot_sweep({"a": [1.0], "b": []})
