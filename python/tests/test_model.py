import copy
import os
import pickle

import numpy as np
import pytest
import scipy.sparse as sp

import vanto


def small(env):
    """Two continuous columns, two rows."""
    return env.model([1, 2], [[1, 1], [1, -1]], [1, -np.inf], [np.inf, 3], ub=[5, np.inf],
                     columns=["x", "y"], rows=["a", "b"])


def test_what_was_built_is_there_and_solves(env):
    model = small(env)
    assert model.column_names == ["x", "y"] and model.row_names == ["a", "b"]
    assert (model.lb == [0, 0]).all() and (model.ub == [5, np.inf]).all()
    low, high = model.sides
    assert (low == [1, -np.inf]).all() and (high == [np.inf, 3]).all()
    assert (model.matrix.toarray() == [[1, 1], [1, -1]]).all()
    result = model.solve()
    assert result.optimal and result.objective == 1 and result.bound == 1
    assert result.values() == {"x": 1, "y": 0}
    assert result.duals.tolist() == [1, 0] and result.reduced_costs.tolist() == [0, 1]
    assert result.slack.tolist() == [0, 2] and result.basis.columns.tolist() == [1, 0]
    assert "optimal" in str(result) and "<table>" in result._repr_html_()
    model.set_basis(*result.basis)
    assert model.solve("dual").iterations == 0


def test_changes_by_name_index_and_slice(env):
    model = small(env)
    assert list(model.add_columns(-1, ub=2.5, integrality=1, names=["z"])) == [2]
    assert list(model.add_rows(sp.csr_matrix([[1, 1, 1], [0, 1, 1]]), [1, -1], 4)) == [2, 3]
    assert model.types == "CCI"
    assert model.solve().values() == {"x": 1, "y": 0, "z": 2}
    model.change_columns("z", c=-5, ub=1)
    model.change_columns(slice(0, 2), lb=0.25)
    model.change_rows(["a", 3], lhs=2)
    model.change_coefficients("b", "z", 7.0)
    assert model.objective.tolist() == [1, 2, -5] and model.lb.tolist() == [0.25, 0.25, 0]
    assert model.sides[0].tolist() == [2, -np.inf, 1, 2]
    assert model.sides[1].tolist() == [np.inf, 3, 4, np.inf]
    assert model.matrix[1, 2] == 7
    model.delete_columns("z")
    free, = model.add_rows([1, 1])  # neither side
    assert [side[free] for side in model.sides] == [-np.inf, np.inf]
    model.delete_rows([2, 3, free])
    model.maximize = True
    model.objective_offset = 10
    model.change_columns("y", ub=1)
    assert (model.num_columns, model.num_rows, model.is_mip) == (2, 2, True)
    model.change_columns("x", ub=2)
    assert model.solve().objective == 14


def test_discrete_structure(env):
    model = env.model(np.array([-3, -2, -4]), [[2, 1.7, 3]], None, 5.5, ub=3, integrality="III")
    model.add_start({0: 1, 2: 1})
    result = model.solve()
    assert result.optimal and result.is_mip and result.duals is None
    assert result.objective == pytest.approx(-7) and result.gap is not None
    model = env.model([-1, -2, -3], ub=1)
    model.add_sos(1, [0, 1, 2])
    assert model.solve().objective == pytest.approx(-3)
    model = env.model([-1, -1], ub=[1, 10], integrality=[1, 0], columns=["b", "x"])
    model.add_indicator("b", {"x": 1}, "<=", 3)
    assert model.solve().objective == pytest.approx(-10)
    model.change_columns("b", lb=1)
    assert model.solve().objective == pytest.approx(-4)
    model = env.model([-3, 0, 0], ub=3)
    model.set_quadratic(np.diag([1.0, 2, 1]))
    assert model.solve().objective == pytest.approx(-4.5, abs=1e-6)


def test_files(env, models, tmp_path):
    model = env.read(models / "p0033.mps")
    best = model.solve().objective
    assert best == pytest.approx(3089)
    for name in ("a.lp", "b.mps"):
        model.write(tmp_path / name)
        assert env.read(tmp_path / name).solve().objective == pytest.approx(best)
    with pytest.raises(FileNotFoundError):
        env.read(tmp_path / "none.mps")
    (tmp_path / "bad.lp").write_text("minimize x +\nsubject to y >=\n")
    with pytest.raises(vanto.Error) as caught:
        env.read(tmp_path / "bad.lp")
    assert caught.value.name == "VNTERR_FILE_FORMAT" and "line" in str(caught.value)


@pytest.mark.parametrize("wrong, kind", [
    (lambda e, m: m.change_columns("q", lb=1), KeyError),
    (lambda e, m: m.change_columns(2, lb=1), IndexError),
    (lambda e, m: m.change_columns(-1, lb=1), IndexError),
    (lambda e, m: m.change_columns(0.5, lb=1), TypeError),
    (lambda e, m: m.change_columns("x", lb=float("nan")), ValueError),
    (lambda e, m: m.change_columns("x", c=np.inf), ValueError),
    (lambda e, m: m.change_columns("x", c="much"), TypeError),
    (lambda e, m: m.add_rows([1, 2, 3]), ValueError),
    (lambda e, m: m.add_rows([1, np.nan]), ValueError),
    (lambda e, m: m.add_rows([1, 2], 3, 2), ValueError),
    (lambda e, m: m.add_columns([1, 2], names=["one"]), ValueError),
    (lambda e, m: m.add_columns(1, integrality="X"), ValueError),
    (lambda e, m: e.model([1, 2], columns=["a", "a"]).solve().values(), ValueError),
    (lambda e, m: m.add_sos(3, [0, 1]), ValueError),
    (lambda e, m: m.set_quadratic([[1, 2], [3, 4]]), ValueError),
    (lambda e, m: m.set_basis([1], [0]), ValueError),
    (lambda e, m: m.solve("magic"), ValueError),
    (lambda e, m: m.solve(nodelimit=5, timelimit=-1), ValueError),
    (lambda e, m: m.solve(speed=1), AttributeError),
    (lambda e, m: e.model([1, 2], np.eye(3)), ValueError),
    (lambda e, m: e.params.range("none"), AttributeError),
    (lambda e, m: e.params[5], TypeError),
    (lambda e, m: m.solve(timelimit="long"), TypeError),
    (lambda e, m: m.column(1.7), TypeError),
    (lambda e, m: m.column("x\0z"), ValueError),
    (lambda e, m: m.change_columns("x", c=1j), TypeError),
    (lambda e, m: m.change_columns(["x", "y"], c=["1", "2"]), TypeError),
    (lambda e, m: m.change_columns("x", c=np.array([1 + 2j])), TypeError),
    (lambda e, m: m.change_columns(["x", "y"], c=np.ma.array([1, 2], mask=[0, 1])), TypeError),
    (lambda e, m: m.add_columns(1, A=sp.csc_matrix([[1j]])), TypeError),
    (lambda e, m: m.add_columns(1, names="ab"), TypeError),
    (lambda e, m: m.add_columns(1, count=-1), ValueError),
    (lambda e, m: m.add_indicator("x", [1], "<=", 1), TypeError),
    (lambda e, m: m.add_indicator("x", {"y": 1}, "<=", 1, active=7), ValueError),
    (lambda e, m: m.set_basis([0.5, 1.5], [0]), TypeError),
    (lambda e, m: m.write("no\0where.lp"), ValueError),
    (lambda e, m: e.model(5), ValueError),
    (lambda e, m: e.model(lb=[1, 2]), ValueError),
    (lambda e, m: e.model(columns=["a"]), ValueError),
    (lambda e, m: e.model(A=np.zeros((2, 2, 2))), ValueError),
    (lambda e, m: e.model([1, 2], integrality=[1, 0, 1]), ValueError),
    (lambda e, m: e.model([1], name=5), TypeError),
    (lambda e, m: m.start().set_limits(seconds=float("nan")), ValueError),
    (lambda e, m: vanto.Environment("127.0.0.1:1", connect_timeout=-1), ValueError),
    (lambda e, m: vanto.Environment(e.server, log=5), TypeError),
    (lambda e, m: copy.copy(e.params), TypeError),
    (lambda e, m: pickle.dumps(m), TypeError),
])
def test_bad_input_says_what_was_wrong_and_changes_nothing(env, wrong, kind):
    model = small(env)
    with pytest.raises(kind) as caught:
        wrong(env, model)
    assert len(str(caught.value)) > 8
    if env._handle.running is not None:
        env._handle.running.wait()
    assert model.solve().objective == 1 and env.params.timelimit == 1e75
    assert env.params.nodelimit > 5


def test_parameters_by_name(env):
    env.params.timelimit = 60
    assert env.params["TIME_LIMIT"] == 60 and "time_limit" in dir(env.params)
    default, low, high = env.params.range("threads")
    assert low <= default <= high
    env.params.reset()
    assert env.params.timelimit == 1e75


def test_empty_models(env):
    assert env.model().solve().objective == 0
    assert env.model([1, 1], lb=2).solve().objective == 4
    assert env.model(None, sp.csc_matrix((2, 0)), 0, 0).solve().optimal


def test_a_damaged_sparse_matrix_is_refused(env):
    for damage in (lambda a: a.indices.__setitem__(0, 99), lambda a: a.indices.__setitem__(0, -7),
                   lambda a: a.indptr.__setitem__(1, 50)):
        for kind in (sp.csc_matrix, sp.csr_matrix):
            matrix = kind(np.eye(3))
            damage(matrix)
            with pytest.raises(ValueError, match="damaged"):
                env.model(A=matrix)
    matrix = sp.coo_matrix(np.eye(3))
    matrix.row[1] = 99
    with pytest.raises(ValueError, match="damaged"):
        env.model(A=matrix)
    assert env.model(A=sp.csr_array(np.eye(3)), lhs=1, c=np.float16([1, 2, 3])[::-1]) \
        .solve().objective == 6


def test_names_of_files_and_columns_that_are_not_utf8(env, tmp_path):
    model = env.model(c=[1, 2], lb=1, columns=["größe", "y"])
    model.write(tmp_path / "a.mps")
    odd = os.fsencode(tmp_path) + b"/\xff.mps"
    with open(odd, "wb") as file:
        file.write((tmp_path / "a.mps").read_bytes().replace("größe".encode(), b"gr\xf6\xdfe"))
    result = env.read(odd).solve()
    env.read(os.fsdecode(odd)).write(os.fsencode(tmp_path) + b"/\xfe.mps")
    env.close()
    assert result.values() == {os.fsdecode(b"gr\xf6\xdfe"): 1, "y": 1}
    assert os.path.exists(os.fsencode(tmp_path) + b"/\xfe.mps")


def test_results_errors_and_progress_can_be_pickled_and_copied(env):
    model = env.model([1, 2], lb=[3, 4], columns=["x", "y"])
    result = model.solve()
    for made in (pickle.loads(pickle.dumps(result)), copy.deepcopy(result)):
        assert made.values() == {"x": 3, "y": 4} and made.status is vanto.Status.OPTIMAL
        assert made.history == result.history and made.basis.columns.tolist() == [0, 0]
    error = pickle.loads(pickle.dumps(vanto.Error(1012, "none here")))
    assert (error.number, error.name, str(error)) == (1012, "VNTERR_NO_SOLUTION",
                                                      "none here (VNTERR_NO_SOLUTION)")
