"""What a solve found."""
from __future__ import annotations

import contextlib
import enum
import html
import re
from typing import TYPE_CHECKING, Any, NamedTuple

import numpy as np

from . import lib
from .lib import Error, errors, ffi

# What was asked for does not exist, or not for this kind of problem.
_absent = (errors.NOT_SUPPORTED, errors.NOT_MIP, errors.NO_SOLUTION, errors.NO_BASIS, errors.NOT_LP,
           errors.WRONG_TYPE)

if TYPE_CHECKING:
    from .model import Model
    from .run import Progress

Status = enum.IntEnum("Status", {  # type: ignore[misc]
    name: int(number) for name, number in re.findall(r"\bVNT_STAT_(\w+) = (\d+)",
                                                         lib._texts[0])})
setattr(Status, "__str__", lambda self: self.name.lower())
Status.__doc__ = "How a solve ended: VNT_STAT_* of vanto.h."


class Basis(NamedTuple):
    """VNT_BASIS_* of each column (n,) and row (m,): 0 lower, 1 basic, 2 upper, 3 free."""

    columns: np.ndarray
    rows: np.ndarray


class Result:
    """The outcome of one solve, taken when it ended; later changes of the model leave it alone.

    status         Status
    objective      of the solution; None without one
    bound, gap     best bound, relative gap; None where there is none
    x              (n,) values of the columns; None without a solution
    slack          (m,) right-hand side less activity
    duals          (m,), reduced_costs (n,), basis: of a continuous problem, else None
    iterations, nodes, seconds
    history        list of Progress, as the solve told
    """

    def __init__(self, model: Model, seconds: float, history: list[Progress]):
        ask = model.call
        self.seconds = seconds
        self.history = history
        self.status = Status(ask("VNTLgetstat"))
        self.columns, self.rows = ask("VNTLgetnumcols"), ask("VNTLgetnumrows")
        self.is_mip = model.is_mip
        self.iterations = int(ask("VNTLgetmipitcnt" if self.is_mip else "VNTLgetitcnt"))
        self.nodes = int(ask("VNTLgetnodecnt")) if self.is_mip else 0
        self.objective = self._number(ask, "VNTLgetobjval")
        self.bound = self._number(ask, "VNTLgetbestobjval") if self.is_mip else self.objective
        self.gap = self._number(ask, "VNTLgetmiprelgap") if self.is_mip else None
        self.x = self._array(ask, "VNTLgetx", self.columns)
        self.slack = self._array(ask, "VNTLgetslack", self.rows)
        self.duals = None if self.is_mip else self._array(ask, "VNTLgetpi", self.rows)
        self.reduced_costs = None if self.is_mip else self._array(ask, "VNTLgetdj", self.columns)
        self.basis = None if self.is_mip else self._basis(ask)
        self._model: Model | None = model
        self._names: list[str] | None = None
        model._problem.handle.results.add(self)

    @staticmethod
    def _number(ask: Any, function: str) -> float | None:
        place = ffi.new("double *")
        try:
            ask(function, place)
        except Error as e:
            if e.number not in _absent:  # the worker is gone, for instance, and the result with it
                raise
            return None
        return place[0] if abs(place[0]) < 1e20 else None

    @staticmethod
    def _array(ask: Any, function: str, count: int) -> np.ndarray | None:
        values = np.empty(count)
        try:
            ask(function, values, 0, count - 1)
        except Error as e:
            if e.number not in _absent:
                raise
            return None
        return values

    def _basis(self, ask: Any) -> Basis | None:
        columns, rows = np.zeros(self.columns, np.int32), np.zeros(self.rows, np.int32)
        try:
            ask("VNTLgetbase", columns, rows)
        except Error as e:
            if e.number not in _absent:
                raise
            return None
        return Basis(columns, rows)

    @property
    def optimal(self) -> bool:
        """Whether the solution is proven to be the best, within the tolerances."""
        return self.status.name in ("OPTIMAL", "OPTIMAL_TOLERANCE")

    def keep_names(self) -> Result:
        """Takes the names of the columns along, for when the model is closed."""
        if self._model is not None and self._names is None:
            self._names = self._model.column_names
            self._model._problem.handle.results.discard(self)
        return self

    def __getstate__(self) -> dict[str, Any]:
        """All but the model: a copy, also in another process, has the names instead."""
        self._model_changes()
        return {**self.__dict__, "_model": None}

    def _model_changes(self) -> None:
        """The names go along unless they are so many that they had better be asked for."""
        if self.columns <= 100_000:
            with contextlib.suppress(Error):  # the worker may be gone
                self.keep_names()

    def values(self) -> dict[str, float]:
        """The solution by the names of the columns.

        Of more than 100,000 columns the names go with the model, unless keep_names() took them.
        """
        if self.x is None:
            raise ValueError(f"no solution: {self.status.name.lower()}")
        names = self._names if self._model is None or self._names is not None \
            else self._model.column_names
        if names is None:
            raise ValueError("the names stayed with the model: keep_names() takes them along")
        values = dict(zip(names, self.x.tolist()))
        if len(values) < self.columns:
            raise ValueError("columns share a name: x has the values in the order of the columns")
        return values

    def _rows(self) -> list[tuple[str, str]]:
        told = [("status", self.status.name.lower().replace("_", " "))]
        for name in ("objective", "bound", "gap"):
            value = getattr(self, name)
            if value is not None and (name == "objective" or self.is_mip):
                told.append((name, f"{value:.10g}"))
        told.append(("model", f"{self.rows} rows, {self.columns} columns"))
        told.append(("work", f"{self.iterations} iterations, {self.nodes} nodes, "
                             f"{self.seconds:.2f} seconds"))
        return told

    def __repr__(self) -> str:
        objective = "" if self.objective is None else f", objective {self.objective:.10g}"
        return f"<vanto.Result {self.status.name.lower()}{objective}>"

    def __str__(self) -> str:
        return "\n".join(f"{name:<10} {value}" for name, value in self._rows())

    def _repr_html_(self) -> str:
        cells = "".join(f"<tr><th style='text-align:left'>{html.escape(name)}</th>"
                        f"<td style='text-align:left'>{html.escape(value)}</td></tr>"
                        for name, value in self._rows())
        return f"<table>{cells}</table>"

    def plot(self, axes: Any = None) -> Any:
        """Incumbent, bound and gap over time, on matplotlib axes."""
        from .plots import plot_history
        return plot_history(self.history, axes)
