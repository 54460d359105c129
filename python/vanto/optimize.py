"""linprog() and milp() with scipy.optimize's signatures and results, solved by this system.

`server` and the parameters of an Environment are keywords of `options`.
"""
from __future__ import annotations

import contextlib
import warnings
from typing import Any

import numpy as np
import scipy.sparse as sp
from scipy.optimize import Bounds, LinearConstraint, OptimizeResult, OptimizeWarning

from .environment import Environment
from .model import Model
from .result import Result

__all__ = ["linprog", "milp"]

# Status and message as scipy has them, by VNT_STAT_*.
_ends = {1: (0, "Optimization terminated successfully."), 10: (0, "Optimal within the gap."),
         2: (2, "The problem is infeasible."), 3: (3, "The problem is unbounded."),
         4: (4, "The problem is infeasible or unbounded."), 5: (1, "Iteration limit reached."),
         6: (1, "Time limit reached."), 7: (1, "Node limit reached."),
         8: (1, "Solution limit reached."), 9: (1, "The solve was stopped.")}
_options = {"time_limit": "time_limit", "maxiter": "iteration_limit", "node_limit": "node_limit",
            "mip_rel_gap": "rel_gap", "presolve": "presolve",
            "primal_feasibility_tolerance": "feasibility",
            "dual_feasibility_tolerance": "optimality"}


def _environment(options: dict[str, Any] | None) -> Environment:
    """What is no option, or no value of one, is left out with a warning, as scipy does it."""
    given = dict(options or {})
    env = Environment(given.pop("server", None), feasibility=1e-7, optimality=1e-7)  # as scipy's
    given.pop("disp", None)
    for name, value in given.items():
        try:
            if value is not None:
                env.params[_options.get(name, name)] = int(value) if name == "presolve" else value
        except (AttributeError, TypeError, ValueError) as e:
            warnings.warn(f"option {name!r} is left out: {e}", OptimizeWarning, stacklevel=4)
    return env


def _solved(env: Environment, c: np.ndarray, A: Any, lhs: Any, rhs: Any, lb: Any, ub: Any,
            integrality: Any, method: str = "auto") -> Result:
    whole = integrality is not None and np.any(np.asarray(integrality) != 0)
    with Model(env, c, A, lhs, rhs, lb, ub,
               np.broadcast_to(integrality, c.shape) if whole else None) as model:
        result = model.solve(method)
        if result.status == 4:  # say which of the two it is
            env.params.presolve = 0
            result = model.solve(method)
        return result


def _outcome(result: Result) -> OptimizeResult:
    status, message = _ends.get(int(result.status), (4, "Numerical difficulties."))
    found = result.x is not None and result.objective is not None and status in (0, 1)
    return OptimizeResult(x=result.x if found else None, fun=result.objective if found else None,
                          status=status, message=message, success=status == 0 and found,
                          nit=result.iterations)


def milp(c: Any, *, integrality: Any = None, bounds: Any = None, constraints: Any = None,
         options: dict[str, Any] | None = None) -> OptimizeResult:
    """As scipy.optimize.milp."""
    costs = np.atleast_1d(np.asarray(c, dtype=np.float64))
    if costs.ndim != 1 or costs.size == 0 or not np.isfinite(costs).all():
        raise ValueError("`c` must be a one-dimensional array of finite numbers with "
                         "at least one element.")
    n = len(costs)
    whole = _integrality_of(integrality, n)
    lb, ub = _bounds_of(bounds, n)
    A, low, high = _constraints_of(constraints, n)
    with _environment(options) as env:
        result = _solved(env, costs, A, low, high, lb, ub, whole)
    made = _outcome(result)
    if made.status == 4:
        made.message = f"The solve ended otherwise. {made.message}"
    made.mip_node_count = result.nodes
    made.mip_dual_bound = result.bound
    made.mip_gap = result.gap if result.is_mip else (0.0 if made.success else None)
    return made


def _integrality_of(integrality: Any, n: int) -> np.ndarray:
    numbers = np.asarray(0 if integrality is None else integrality)
    if numbers.shape not in ((), (1,), (n,)) or not np.isin(numbers, (0, 1, 2, 3)).all():
        raise ValueError("`integrality` must contain integers 0-3 and be broadcastable to "
                         "`c.shape`.")
    return np.broadcast_to(numbers, n)


def _bounds_of(bounds: Any, n: int) -> tuple[np.ndarray, np.ndarray]:
    if bounds is None:
        return np.zeros(n), np.full(n, np.inf)
    if not isinstance(bounds, Bounds):
        try:
            bounds = Bounds(*bounds)
        except TypeError:
            raise ValueError("`bounds` must be convertible into an instance of "
                             "`scipy.optimize.Bounds`.") from None
    try:
        return (np.broadcast_to(np.asarray(bounds.lb, float), n).copy(),
                np.broadcast_to(np.asarray(bounds.ub, float), n).copy())
    except (TypeError, ValueError):
        raise ValueError("`bounds.lb` and `bounds.ub` must contain reals and be broadcastable to "
                         "`c.shape`.") from None


def _constraints_of(constraints: Any, n: int) -> tuple[Any, np.ndarray, np.ndarray]:
    if constraints is None:
        return None, np.zeros(0), np.zeros(0)
    if isinstance(constraints, LinearConstraint):
        listed = [constraints]
    else:
        try:
            listed = [LinearConstraint(*constraints)]
        except (TypeError, ValueError):
            listed = [_constraint(c) for c in _iterated(constraints)]
    blocks, lows, highs = [], [], []
    for one in listed:
        A = one.A if sp.issparse(one.A) else np.atleast_2d(np.asarray(one.A, dtype=float))
        if A.shape[1] != n:
            raise ValueError("The shape of `A` must be (len(b_l), len(c)).")
        blocks.append(sp.csc_matrix(A))
        lows.append(np.broadcast_to(np.asarray(one.lb, float), A.shape[0]))
        highs.append(np.broadcast_to(np.asarray(one.ub, float), A.shape[0]))
    return sp.vstack(blocks, format="csc"), np.concatenate(lows), np.concatenate(highs)


def _iterated(constraints: Any) -> Any:
    return constraints if np.iterable(constraints) else [constraints]


def _constraint(given: Any) -> LinearConstraint:
    with contextlib.suppress(TypeError, ValueError):
        if isinstance(given, LinearConstraint):
            return given
        if len(given) > 1:
            return LinearConstraint(*given)
    raise ValueError("`constraints` (or each element within `constraints`) must be convertible "
                     "into an instance of `scipy.optimize.LinearConstraint`.")


_methods = {"vanto": "auto", "highs": "auto", "highs-ds": "dual", "highs-ipm": "barrier",
            "auto": "auto", "primal": "primal", "dual": "dual", "barrier": "barrier"}


def linprog(c: Any, A_ub: Any = None, b_ub: Any = None, A_eq: Any = None, b_eq: Any = None,
            bounds: Any = None, method: str = "auto", callback: Any = None,
            options: dict[str, Any] | None = None, x0: Any = None,
            integrality: Any = None) -> OptimizeResult:
    """As scipy.optimize.linprog.  method: "auto", "primal", "dual" or "barrier"."""
    if method not in _methods:
        raise ValueError(f"Unknown solver '{method}'")
    if callback is not None:
        raise NotImplementedError("callback: Model.start() tells the progress of a solve")
    costs = np.atleast_1d(_numbers(c, "c").squeeze())
    if costs.ndim != 1 or not np.isfinite(costs).all():
        raise ValueError("c must be a one-dimensional array of finite numbers")
    n = len(costs)
    A_ub, b_ub = _half(A_ub, b_ub, n, "ub")
    A_eq, b_eq = _half(A_eq, b_eq, n, "eq")
    lb, ub = _pairs(bounds, n)
    if integrality is not None and np.any(integrality) and _methods[method] != "auto":
        warnings.warn(f"method {method!r} takes a continuous problem: integrality is left out",
                      OptimizeWarning, stacklevel=2)
        integrality = None
    with _environment(options) as env:
        if (lb > ub).any() or (lb == np.inf).any() or (ub == -np.inf).any():
            return _empty(OptimizeResult(status=2, message="The problem is infeasible.", nit=0))
        result = _solved(env, costs, sp.vstack([A_ub, A_eq], format="csc"),
                         np.concatenate([np.full(len(b_ub), -np.inf), b_eq]),
                         np.concatenate([b_ub, b_eq]), lb, ub, integrality, _methods[method])
    made = _outcome(result)
    if made.x is None:
        return _empty(made)
    made.slack = b_ub - A_ub @ made.x
    made.con = b_eq - A_eq @ made.x
    _marginals(made, result, lb, ub, len(b_ub))
    if result.is_mip:
        made.mip_node_count, made.mip_dual_bound, made.mip_gap = \
            result.nodes, result.bound, result.gap
    return made


def _empty(made: OptimizeResult) -> OptimizeResult:
    nothing = OptimizeResult(residual=None, marginals=None)
    made.update(x=None, fun=None, success=False, slack=None, con=None, ineqlin=nothing,
                eqlin=nothing, lower=nothing, upper=nothing)
    return made


def _marginals(made: OptimizeResult, result: Result, lb: np.ndarray, ub: np.ndarray,
               rows: int) -> None:
    """Sensitivities of the objective: to the right-hand sides and to the bounds."""
    duals = result.duals if result.duals is not None else np.zeros(result.rows)
    costs = result.reduced_costs if result.reduced_costs is not None else np.zeros(result.columns)
    made.ineqlin = OptimizeResult(residual=made.slack, marginals=duals[:rows])
    made.eqlin = OptimizeResult(residual=made.con, marginals=duals[rows:])
    made.lower = OptimizeResult(residual=made.x - lb, marginals=np.maximum(costs, 0.0))
    made.upper = OptimizeResult(residual=ub - made.x, marginals=np.minimum(costs, 0.0))


def _numbers(values: Any, name: str) -> np.ndarray:
    try:
        return np.asarray(values, dtype=float)
    except (TypeError, ValueError):
        raise TypeError(f"{name} is not made of numbers") from None


def _half(A: Any, b: Any, n: int, name: str) -> tuple[sp.csc_matrix, np.ndarray]:
    side = np.zeros(0) if b is None else np.atleast_1d(_numbers(b, f"b_{name}").squeeze())
    if A is None:
        matrix = sp.csc_matrix((0, n))
    elif sp.issparse(A):
        matrix = sp.csc_matrix(A)
    else:
        array = _numbers(A, f"A_{name}")
        if array.ndim > 2:
            raise ValueError(f"A_{name} has shape {array.shape}; (m, {n}) is taken")
        matrix = sp.csc_matrix(array.reshape(-1, n) if array.size in (0, n) else array)
    if matrix.shape[1] != n or side.ndim != 1 or len(side) != matrix.shape[0]:
        raise ValueError(f"A_{name} has shape {matrix.shape} and b_{name} {side.shape}; "
                         f"(m, {n}) and (m,) are taken")
    if not np.isfinite(side).all() or not np.isfinite(matrix.data).all():
        raise ValueError(f"A_{name} and b_{name} must not contain inf, nan or None")
    return matrix, side


def _pairs(bounds: Any, n: int) -> tuple[np.ndarray, np.ndarray]:
    """Bounds of one pair for all, or of one for each; None for none."""
    if bounds is None or (np.size(bounds) == 0):
        return np.zeros(n), np.full(n, np.inf)
    if isinstance(bounds, Bounds):
        bounds = np.column_stack([np.broadcast_to(bounds.lb, n), np.broadcast_to(bounds.ub, n)])
    pairs = np.array([[np.nan if v is None else v for v in np.ravel(row)] if np.ndim(row) else
                      (np.nan if row is None else row) for row in bounds], dtype=float)
    if pairs.shape in ((2,), (1, 2)):
        pairs = np.tile(pairs.reshape(1, 2), (n, 1))
    if pairs.shape != (n, 2):
        raise ValueError(f"bounds of shape {pairs.shape}; one pair, or one for each of {n} "
                         "variables")
    lb = np.where(np.isnan(pairs[:, 0]), -np.inf, pairs[:, 0])
    ub = np.where(np.isnan(pairs[:, 1]), np.inf, pairs[:, 1])
    return lb, ub
