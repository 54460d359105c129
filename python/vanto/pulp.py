"""VANTO, a solver for PuLP models: problem.solve(vanto.pulp.VANTO(server=...))."""
from __future__ import annotations

from typing import Any

import numpy as np
import pulp
import scipy.sparse as sp

from .environment import Environment
from .model import Model
from .result import Result

_statuses = {1: (pulp.LpStatusOptimal, pulp.LpSolutionOptimal),
             10: (pulp.LpStatusOptimal, pulp.LpSolutionOptimal),
             2: (pulp.LpStatusInfeasible, pulp.LpSolutionInfeasible),
             3: (pulp.LpStatusUnbounded, pulp.LpSolutionUnbounded),
             4: (pulp.LpStatusInfeasible, pulp.LpSolutionInfeasible)}


class VANTO(pulp.LpSolver):
    """Solves in this process, or in a worker when a server is given.

    msg, timeLimit, gapRel, gapAbs, maxNodes, threads, warmStart and mip as PuLP's other solvers
    have them; further keywords are parameters of an Environment.
    """

    name = "VANTO"

    def __init__(self, mip: bool = True, msg: bool = True, timeLimit: float | None = None,
                 gapRel: float | None = None, gapAbs: float | None = None,
                 maxNodes: int | None = None, threads: int | None = None,
                 warmStart: bool = False, server: str | None = None, **parameters: Any):
        super().__init__(mip=mip, msg=msg, timeLimit=timeLimit, gapRel=gapRel, gapAbs=gapAbs,
                         maxNodes=maxNodes, threads=threads, warmStart=warmStart)
        self.server = server
        given = {"time_limit": timeLimit, "rel_gap": gapRel, "abs_gap": gapAbs,
                 "node_limit": maxNodes, "threads": threads}
        self.parameters: dict[str, Any] = {k: v for k, v in given.items() if v is not None}
        self.parameters.update(parameters)

    def available(self) -> bool:
        return True

    def actualSolve(self, lp: Any, **_: Any) -> int:
        columns = lp.variables()
        with Environment(self.server, **self.parameters) as env:
            with self._model(env, lp, columns) as model:
                lp.solverModel = None
                result = model.solve()
                if result.status == 4:
                    env.params.presolve = 0
                    result = model.solve()
        if self.msg:
            print(result)
        return self._give(lp, columns, result)

    def _model(self, env: Environment, lp: Any, columns: list[Any]) -> Model:
        place = {id(v): j for j, v in enumerate(columns)}  # names may be there twice
        costs = np.zeros(len(columns))
        for v, value in (lp.objective or {}).items():
            costs[place[id(v)]] = value
        rows = list(lp.constraints.values())
        entries = [(i, place[id(v)], value) for i, row in enumerate(rows)
                   for v, value in row.items()]
        i, j, a = (np.array(list(k)) for k in zip(*entries)) if entries else ([], [], [])
        matrix = sp.csc_matrix((a, (i, j)), shape=(len(rows), len(columns)), dtype=float)
        side = np.array([-row.constant for row in rows], dtype=float)
        low = np.where([row.sense == pulp.LpConstraintLE for row in rows], -np.inf, side)
        high = np.where([row.sense == pulp.LpConstraintGE for row in rows], np.inf, side)
        whole = self.mip and any(v.cat == pulp.LpInteger for v in columns)
        model = Model(env, costs, matrix, low, high,
                      [-np.inf if v.lowBound is None else v.lowBound for v in columns],
                      [np.inf if v.upBound is None else v.upBound for v in columns],
                      [int(v.cat == pulp.LpInteger) for v in columns] if whole else None,
                      name=lp.name or "model", maximize=lp.sense == pulp.LpMaximize)
        for k, kind in ((1, lp.sos1), (2, lp.sos2)):
            for members in kind.values():
                model.add_sos(k, [place[id(v)] for v in members],
                              [float(w) for w in members.values()])
        if self.optionsDict.get("warmStart"):
            start = {place[id(v)]: v.varValue for v in columns if v.varValue is not None}
            if start:
                model.add_start(start)
        return model

    @staticmethod
    def _give(lp: Any, columns: list[Any], result: Result) -> int:
        status, solution = _statuses.get(
            int(result.status), (pulp.LpStatusNotSolved, pulp.LpSolutionNoSolutionFound))
        if result.x is not None and int(result.status) not in _statuses:
            status, solution = pulp.LpStatusOptimal, pulp.LpSolutionIntegerFeasible
        if result.x is not None:
            for v, value in zip(columns, result.x.tolist()):
                v.varValue = value
        names = list(lp.constraints)
        if result.reduced_costs is not None:
            for v, value in zip(columns, result.reduced_costs.tolist()):
                v.dj = value
        if result.duals is not None:
            lp.assignConsPi(dict(zip(names, result.duals.tolist())))
        if result.slack is not None:
            lp.assignConsSlack(dict(zip(names, result.slack.tolist())))
        lp.assignStatus(status, solution)
        return status


# getSolver("VANTO") and solvers that are written to files find it by its name.
if VANTO not in pulp.apis._all_solvers:
    pulp.apis._all_solvers.append(VANTO)
