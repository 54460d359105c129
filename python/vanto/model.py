"""Problems: columns, rows, discrete structure; and solving them."""
from __future__ import annotations

import operator
import os
import weakref
from typing import Any, Mapping, Sequence, Union

import numpy as np
import scipy.sparse as sp

from .environment import Bound, Environment, call, number_of
from .lib import Error, errors, ffi, text_of
from .result import Result
from .run import Run

Index = Union[int, str]
Numbers = Any  # a number or an array of them

INFINITY = 1e20  # bounds of this magnitude are infinite to the solver


def _numbers(values: Any, name: str) -> np.ndarray:
    """float64 of what holds real numbers."""
    try:
        array = np.asarray(values)
        if array.dtype.kind not in "biufO" or np.ma.is_masked(values) or \
                any(isinstance(v, (str, bytes)) for v in array.flat if array.dtype.kind == "O"):
            raise TypeError
        return array.astype(np.float64, copy=False)
    except (TypeError, ValueError):
        raise TypeError(f"{name}: not numbers: {values!r:.60}") from None


def _doubles(values: Numbers, count: int, name: str, infinite: bool = False) -> np.ndarray:
    """`count` float64 of one number or of so many."""
    array = _numbers(values, name)
    if array.ndim == 0:
        array = np.full(count, float(array))
    if array.shape != (count,):
        raise ValueError(f"{name}: shape {array.shape} where ({count},) is taken")
    if np.isnan(array).any():
        raise ValueError(f"{name}: NaN at {int(np.flatnonzero(np.isnan(array))[0])}")
    if infinite:
        return np.clip(array, -INFINITY, INFINITY)
    if np.isinf(array).any():
        raise ValueError(f"{name}: infinite at {int(np.flatnonzero(np.isinf(array))[0])}")
    return np.ascontiguousarray(array)


def _matrix(values: Any, rows: int | None, columns: int | None, name: str) -> sp.csc_matrix:
    """As columns, each entry once."""
    if sp.issparse(values):
        _sparse_check(values, name)
        matrix = values.tocsc()
    else:
        array = np.atleast_2d(_numbers(values, name))
        if array.ndim != 2:
            raise ValueError(f"{name}: {array.ndim} dimensions where 2 are taken")
        matrix = sp.csc_matrix(array)
    if (rows is not None and matrix.shape[0] != rows) or \
            (columns is not None and matrix.shape[1] != columns):
        raise ValueError(f"{name}: shape {matrix.shape} where ({rows or 'any'}, "
                         f"{'any' if columns is None else columns}) is taken")
    if not matrix.has_canonical_format:
        matrix = matrix.copy()
        matrix.sum_duplicates()
    if matrix.data.dtype != np.float64:
        matrix = matrix.astype(np.float64)
    if not _finite(matrix.data):
        raise ValueError(f"{name}: an entry that is no finite number")
    return matrix


def _finite(values: np.ndarray) -> bool:
    """Whether all are: the sum tells mostly, and needs no array of marks for ten million."""
    with np.errstate(over="ignore", invalid="ignore"):
        return bool(np.isfinite(values.sum()) or np.isfinite(values).all())


def _sparse_check(matrix: Any, name: str) -> None:
    """Refuses what scipy itself would follow out of its arrays: it looks at little of them."""
    if matrix.dtype.kind not in "biuf":
        raise TypeError(f"{name}: not numbers: {matrix.dtype}")
    try:
        if matrix.format in ("csc", "csr", "bsr"):
            matrix.check_format(full_check=True)
        elif matrix.format == "coo" and matrix.nnz > 0:
            for index, size in ((matrix.row, matrix.shape[0]), (matrix.col, matrix.shape[1])):
                if index.min() < 0 or index.max() >= size or len(index) != len(matrix.data):
                    raise ValueError("an index out of range")
    except ValueError as e:
        raise ValueError(f"{name}: a damaged sparse matrix: {e}") from None


def _names(names: Sequence[str] | None, count: int, what: str) -> list[str] | None:
    if names is None:
        return None
    if isinstance(names, (str, bytes)) or not hasattr(names, "__iter__"):
        raise TypeError(f"the names of {what} are a sequence of str, not {names!r:.60}")
    listed = [str(n) for n in names]
    if len(listed) != count:
        raise ValueError(f"{len(listed)} names of {count} {what}")
    return listed


def _sides(lhs: Numbers, rhs: Numbers, count: int) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Sense, right-hand side and range of rows between two sides."""
    low = _doubles(-INFINITY if lhs is None else lhs, count, "lhs", True)
    high = _doubles(INFINITY if rhs is None else rhs, count, "rhs", True)
    if (low > high).any():
        i = int(np.flatnonzero(low > high)[0])
        raise ValueError(f"row {i}: lhs {low[i]:g} above rhs {high[i]:g}")
    sense = np.full(count, ord("R"), np.int8)
    no_low = low <= -INFINITY
    sense[high >= INFINITY] = ord("G")
    sense[no_low] = ord("L")  # a row without sides as well
    sense[(low == high) & (abs(low) < INFINITY)] = ord("E")
    side = np.where(no_low, high, low)
    span = np.where(sense == ord("R"), high - low, 0.0)
    return sense, np.ascontiguousarray(side), np.ascontiguousarray(span)


def _types(integrality: Any, count: int) -> np.ndarray | None:
    """Letters of column types: of a text, or of numbers as scipy.optimize.milp has them."""
    if integrality is None:
        return None
    if isinstance(integrality, str):
        letters = integrality if len(integrality) != 1 else integrality * count
        if len(letters) != count or not set(letters) <= set("CBISN"):
            raise ValueError(f"integrality: a letter C, B, I, S or N for each of {count} columns is "
                             f"taken, not {integrality!r:.60}")
        return np.frombuffer(letters.encode(), np.int8)
    numbers = np.asarray(integrality)
    if numbers.shape not in ((), (1,), (count,)):
        raise ValueError(f"integrality: shape {numbers.shape} where ({count},) is taken")
    numbers = np.broadcast_to(numbers, (count,))
    if not np.isin(numbers, (0, 1, 2, 3)).all():
        raise ValueError("integrality is 0 continuous, 1 integer, 2 semi-continuous, "
                         "3 semi-integer")
    return np.frombuffer(b"CISN", np.int8)[numbers.astype(int)]


class _Problem:
    """The solver's problem.  It is freed once, unless its environment went before it."""

    def __init__(self, handle: Any, c: Any):
        self.handle = handle
        self.c = c

    def free(self) -> None:
        if not self.handle.usable:
            return
        run = self.handle.running
        if run is not None and run.problem is self:
            run.stop()
            run.wait()
        if self.c is not None:
            self.handle.free(self.c)
        self.c = None

    def quietly_free(self) -> None:
        try:
            self.free()
        except Error:  # with its worker, for instance
            self.c = None


class Model(Bound):
    """A problem of an environment.

    Model(env) is empty.  Model(env, c, A, lhs, rhs, lb, ub, integrality) minimises c x for
    lhs <= A x <= rhs and lb <= x <= ub:
      c             (n,) numbers
      A             (m, n), dense or of scipy.sparse; None for no rows
      lhs, rhs      (m,) or one number; None for no side
      lb, ub        (n,) or one number; 0 and infinity unless given
      integrality   (n,) of 0 continuous, 1 integer, 2 semi-continuous, 3 semi-integer, or a text
                    of letters C, B, I, S, N; None for a continuous problem
    Columns and rows are given by name or by index from 0.

    Errors: ValueError and TypeError for what cannot be, KeyError for an unknown name, IndexError
    for an index out of range, Error for what the solver refuses.
    """

    def __init__(self, env: Environment, c: Any = None, A: Any = None, lhs: Numbers = None,
                 rhs: Numbers = None, lb: Numbers = 0.0, ub: Numbers = np.inf,
                 integrality: Any = None, *, name: str = "model", maximize: bool = False,
                 columns: Sequence[str] | None = None, rows: Sequence[str] | None = None):
        if not isinstance(env, Environment):
            raise TypeError(f"a model is made in an Environment, not in {env!r:.60}")
        sides = (lhs, rhs, integrality, columns, rows)
        if c is None and A is None and (any(v is not None for v in sides) or np.ndim(lb) > 0
                                        or np.ndim(ub) > 0):
            raise ValueError("c or A is taken as well: it says how many columns there are")
        self.env = env
        self.name = name
        made = env.call("VNTLcreateprob", None, name)
        self._problem = _Problem(env._handle, made)
        self._finish = weakref.finalize(self, _Problem.quietly_free, self._problem)
        try:
            if c is not None or A is not None:
                self._copy(c, A, lhs, rhs, lb, ub, maximize, columns, rows)
                if integrality is not None:
                    self.call("VNTLcopyctype", _types(integrality, self.num_columns))
            elif maximize:
                self.maximize = True
        except BaseException:
            self.close()
            raise

    @classmethod
    def _of(cls, env: Environment, c: Any, name: str) -> Model:
        """The model of a problem that is there."""
        model = cls.__new__(cls)
        model.env = env
        model.name = name
        model._problem = _Problem(env._handle, c)
        model._finish = weakref.finalize(model, _Problem.quietly_free, model._problem)
        return model

    def _copy(self, c: Any, A: Any, lhs: Numbers, rhs: Numbers, lb: Numbers, ub: Numbers,
              maximize: bool, columns: Sequence[str] | None, rows: Sequence[str] | None) -> None:
        if A is None:
            if np.ndim(c) != 1:
                raise ValueError("c: a number for each column is taken where there is no A")
            A = sp.csc_matrix((0, len(c)))
        matrix = _matrix(A, None, None, "A")
        m, n = matrix.shape
        sense, side, span = _sides(lhs, rhs, m)
        begin = matrix.indptr.astype(np.int64)
        self.call("VNTLcopylpwnames", n, m, -1 if maximize else 1,
                  _doubles(0.0 if c is None else c, n, "c"), side, sense, begin[:-1],
                  np.diff(begin).astype(np.int32), matrix.indices.astype(np.int32, copy=False),
                  matrix.data, _doubles(lb, n, "lb", True), _doubles(ub, n, "ub", True), span,
                  _names(columns, n, "columns"), _names(rows, m, "rows"))

    def __enter__(self) -> Model:
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()

    def __repr__(self) -> str:
        if self._problem.c is None or self.env.closed:
            return "<vanto.Model, closed>"
        return f"<vanto.Model {self.num_rows} rows, {self.num_columns} columns>"

    def close(self) -> None:
        """Frees the problem; a solve of it is stopped first.  May be called again."""
        self._results_keep_names()
        self._finish()

    def _results_keep_names(self) -> None:
        for result in list(self._problem.handle.results):
            if result._model is self:
                result._model_changes()

    def call(self, function: str, *arguments: Any) -> Any:
        """Calls a function of vanto.h on this problem, with Error where it fails."""
        if self._problem.c is None:
            raise Error(errors.NO_PROBLEM, "this model is closed")
        return call(self._problem.handle, function, self._problem.c, *arguments)

    # --- What it is -----------------------------------------------------------------------

    @property
    def num_columns(self) -> int:
        return self.call("VNTLgetnumcols")

    @property
    def num_rows(self) -> int:
        return self.call("VNTLgetnumrows")

    @property
    def num_nonzeros(self) -> int:
        return self.call("VNTLgetnumnz")

    @property
    def is_mip(self) -> bool:
        return self.call("VNTLgetprobtype") in (1, 3, 5)

    @property
    def maximize(self) -> bool:
        return self.call("VNTLgetobjsen") == -1

    @maximize.setter
    def maximize(self, value: bool) -> None:
        self.call("VNTLchgobjsen", -1 if value else 1)

    def _column_values(self, function: str) -> np.ndarray:
        values = np.zeros(self.num_columns)
        self.call(function, values, 0, len(values) - 1)
        return values

    def _row_values(self, function: str) -> np.ndarray:
        values = np.zeros(self.num_rows)
        self.call(function, values, 0, len(values) - 1)
        return values

    @property
    def objective(self) -> np.ndarray:
        """(n,) costs."""
        return self._column_values("VNTLgetobj")

    @property
    def objective_offset(self) -> float:
        place = ffi.new("double *")
        self.call("VNTLgetobjoffset", place)
        return place[0]

    @objective_offset.setter
    def objective_offset(self, value: float) -> None:
        self.call("VNTLchgobjoffset", number_of(value, "objective_offset"))

    @property
    def lb(self) -> np.ndarray:
        """(n,) lower bounds, -inf for none."""
        return _unbounded(self._column_values("VNTLgetlb"))

    @property
    def ub(self) -> np.ndarray:
        """(n,) upper bounds, inf for none."""
        return _unbounded(self._column_values("VNTLgetub"))

    @property
    def types(self) -> str:
        """A letter for each column: C, B, I, S, N."""
        if not self.is_mip:
            return "C" * self.num_columns
        letters = np.zeros(self.num_columns, np.int8)
        self.call("VNTLgetctype", letters, 0, len(letters) - 1)
        return letters.tobytes().decode()

    @property
    def sides(self) -> tuple[np.ndarray, np.ndarray]:
        """lhs and rhs of the rows, (m,) each, infinite for none."""
        side, span = self._row_values("VNTLgetrhs"), self._row_values("VNTLgetrngval")
        sense = np.zeros(len(side), np.int8)
        self.call("VNTLgetsense", sense, 0, len(side) - 1)
        ranged = sense == ord("R")
        low = np.where(sense == ord("L"), -np.inf, side)
        high = np.where(sense == ord("G"), np.inf, side)
        low[ranged] = side[ranged] + np.minimum(span[ranged], 0)
        high[ranged] = side[ranged] + np.maximum(span[ranged], 0)
        return _unbounded(low), _unbounded(high)

    @property
    def matrix(self) -> sp.csc_matrix:
        """(m, n) coefficients."""
        n, count = self.num_columns, self.num_nonzeros
        begin, index = np.zeros(n + 1, np.int64), np.zeros(count, np.int32)
        value, place, surplus = np.zeros(count), ffi.new("int64_t *"), ffi.new("int64_t *")
        if n > 0:
            self.call("VNTLgetcols", place, begin[:n], index, value, count, surplus, 0, n - 1)
        begin[n] = count
        return sp.csc_matrix((value, index, begin), shape=(self.num_rows, n))

    def _all_names(self, function: str, count: int) -> list[str]:
        if count == 0:
            return []
        surplus = ffi.new("int64_t *")
        try:
            self.call(function, None, None, 0, surplus, 0, count - 1)
            return [""] * count  # no space: no names
        except Error as e:
            if e.number != errors.SPACE_TOO_SMALL:
                raise
        space = -surplus[0]
        names, store = ffi.new("char *[]", count), ffi.new("char[]", space)
        self.call(function, names, store, space, surplus, 0, count - 1)
        return [text_of(n) for n in names]

    @property
    def column_names(self) -> list[str]:
        return self._all_names("VNTLgetcolname", self.num_columns)

    @property
    def row_names(self) -> list[str]:
        return self._all_names("VNTLgetrowname", self.num_rows)

    def column(self, which: Index) -> int:
        """The index of a column that is given by name or index."""
        return self._index(which, "VNTLgetcolindex", "VNTLgetnumcols", "column")

    def row(self, which: Index) -> int:
        """The index of a row that is given by name or index."""
        return self._index(which, "VNTLgetrowindex", "VNTLgetnumrows", "row")

    def _index(self, which: Index, by_name: str, counted: str, what: str) -> int:
        if isinstance(which, str):
            place = ffi.new("int *")
            try:
                self.call(by_name, which, place)
            except Error as e:
                if e.number != errors.NAME_NOT_FOUND:
                    raise
                raise KeyError(f"no {what} is called {which!r}") from None
            return place[0]
        count = self.call(counted)
        try:
            index = operator.index(which)
        except TypeError:
            raise TypeError(f"a {what} is given by its name or a whole number, not {which!r:.60}") \
                from None
        if not 0 <= index < count:
            raise IndexError(f"{what} {index} of {count}")
        return index

    def _indices(self, which: Any, what: str) -> np.ndarray:
        """int32 of one or many columns or rows, by name or index; of a slice as well."""
        count = self.num_columns if what == "column" else self.num_rows
        if which is None:
            return np.arange(count, dtype=np.int32)
        if isinstance(which, slice):
            return np.arange(count, dtype=np.int32)[which]
        if np.ndim(which) == 0 and not hasattr(which, "__iter__") or isinstance(which, str):
            which = [which]
        listed: Any = which if isinstance(which, np.ndarray) else list(which)
        if any(isinstance(w, str) for w in (listed[:1] if len(listed) > 1000 else listed)):
            find = self.column if what == "column" else self.row
            return np.array([find(w) for w in listed], np.int32)
        array = np.asarray(listed)
        if array.size and (array.ndim != 1 or array.dtype.kind not in "iu"):
            raise TypeError(f"{what}s are given by names or by whole numbers")
        if array.size and (array.min() < 0 or array.max() >= count):
            worst = array.min() if array.min() < 0 else array.max()
            raise IndexError(f"{what} {worst} of {count}")
        return np.ascontiguousarray(array, np.int32)

    # --- Building and changing ------------------------------------------------------------

    def add_columns(self, c: Numbers, A: Any = None, lb: Numbers = 0.0, ub: Numbers = np.inf,
                    integrality: Any = None, names: Sequence[str] | None = None,
                    count: int | None = None) -> range:
        """Adds columns with costs c and, in A, their coefficients in the rows; gives their indices.

        How many: the length of c, else the columns of A, else the names, else `count`.
        """
        if A is not None:
            A = _matrix(A, self.num_rows, None, "A")
        k = operator.index(_count(c, None if A is None else A.shape[1], names, count))
        if k < 0:
            raise ValueError(f"{k} columns")
        first = self.num_columns
        low, high = _doubles(lb, k, "lb", True), _doubles(ub, k, "ub", True)
        matrix = _matrix(sp.csc_matrix((self.num_rows, k)) if A is None else A, self.num_rows, k,
                         "A")
        types = _types(integrality, k)
        self.call("VNTLaddcols", k, matrix.nnz, _doubles(c, k, "c"),
                  matrix.indptr[:-1].astype(np.int64), matrix.indices.astype(np.int32, copy=False),
                  matrix.data, low, high, _names(names, k, "columns"))
        if types is not None:
            self.call("VNTLchgctype", k, np.arange(first, first + k, dtype=np.int32),
                      np.ascontiguousarray(types))
        return range(first, first + k)

    def add_rows(self, A: Any, lhs: Numbers = None, rhs: Numbers = None,
                 names: Sequence[str] | None = None) -> range:
        """Adds rows lhs <= A x <= rhs and gives their indices.  A is (k, n), or (n,) for one."""
        matrix = _matrix(A, None, self.num_columns, "A").tocsr()
        k, first = matrix.shape[0], self.num_rows
        sense, side, span = _sides(lhs, rhs, k)
        self.call("VNTLaddrows", 0, k, matrix.nnz, side, sense,
                  matrix.indptr[:-1].astype(np.int64), matrix.indices.astype(np.int32, copy=False),
                  matrix.data, None, _names(names, k, "rows"))
        ranged = np.flatnonzero(sense == ord("R")).astype(np.int32)
        if len(ranged):
            self.call("VNTLchgrngval", len(ranged), ranged + np.int32(first), span[ranged])
        return range(first, first + k)

    def change_columns(self, which: Any = None, *, c: Numbers = None, lb: Numbers = None,
                       ub: Numbers = None, integrality: Any = None) -> None:
        """Changes costs, bounds and types of the columns that are given; None means all."""
        at = self._indices(which, "column")
        k = len(at)
        if c is not None:
            self.call("VNTLchgobj", k, at, _doubles(c, k, "c"))
        for letter, values in (("L", lb), ("U", ub)):
            if values is not None:
                self.call("VNTLchgbds", k, at, np.full(k, ord(letter), np.int8),
                          _doubles(values, k, "lb" if letter == "L" else "ub", True))
        if integrality is not None:
            self.call("VNTLchgctype", k, at, np.ascontiguousarray(_types(integrality, k)))

    def change_rows(self, which: Any = None, *, lhs: Numbers = None, rhs: Numbers = None) -> None:
        """Gives the rows new sides; a side of None is none."""
        at = self._indices(which, "row")
        k = len(at)
        sense, side, span = _sides(lhs, rhs, k)
        self.call("VNTLchgsense", k, at, sense)
        self.call("VNTLchgrhs", k, at, side)
        ranged = np.flatnonzero(sense == ord("R"))
        if len(ranged):
            self.call("VNTLchgrngval", len(ranged), at[ranged], span[ranged])

    def change_coefficients(self, rows: Any, columns: Any, values: Numbers) -> None:
        """Sets the coefficients at (rows[k], columns[k])."""
        i, j = self._indices(rows, "row"), self._indices(columns, "column")
        if len(i) != len(j):
            raise ValueError(f"{len(i)} rows and {len(j)} columns")
        self.call("VNTLchgcoeflist", len(i), i, j, _doubles(values, len(i), "values"))

    def delete_columns(self, which: Any) -> None:
        marks = np.zeros(self.num_columns, np.int32)
        marks[self._indices(which, "column")] = 1
        self._results_keep_names()
        self.call("VNTLdelsetcols", marks)

    def delete_rows(self, which: Any) -> None:
        marks = np.zeros(self.num_rows, np.int32)
        marks[self._indices(which, "row")] = 1
        self.call("VNTLdelsetrows", marks)

    def set_quadratic(self, Q: Any) -> None:
        """Adds x Q x / 2 to the objective; Q is (n, n) and symmetric."""
        n = self.num_columns
        matrix = _matrix(Q, n, n, "Q")
        if abs(matrix - matrix.T).sum() > 1e-12 * max(1.0, abs(matrix).sum()):
            raise ValueError("Q: not symmetric")
        begin = matrix.indptr.astype(np.int64)
        self.call("VNTLcopyquad", begin[:-1], np.diff(begin).astype(np.int32),
                  matrix.indices.astype(np.int32, copy=False), matrix.data)

    def add_sos(self, kind: int, columns: Any, weights: Numbers = None, name: str | None = None) \
            -> None:
        """Of the columns, in the order of their weights, one (kind 1) or two neighbours (kind 2)
        are not 0.  The weights are 1, 2, ... unless given."""
        if kind not in (1, 2):
            raise ValueError(f"a special ordered set is of kind 1 or 2, not {kind!r}")
        at = self._indices(columns, "column")
        order = np.arange(1.0, len(at) + 1) if weights is None else \
            _doubles(weights, len(at), "weights")
        self.call("VNTLaddsos", 1, len(at), str(kind), np.zeros(1, np.int64), at, order,
                  None if name is None else [name])

    def add_indicator(self, binary: Index, row: Mapping[Index, float], sense: str, rhs: float,
                      *, active: int = 1, name: str | None = None) -> None:
        """Where the binary column is `active`, row (column: coefficient) <=, >= or == rhs."""
        letters = {"<=": "L", ">=": "G", "==": "E", "=": "E", "L": "L", "G": "G", "E": "E"}
        if sense not in letters:
            raise ValueError(f"sense is \"<=\", \">=\" or \"==\", not {sense!r}")
        if not isinstance(row, Mapping):
            raise TypeError(f"row has a coefficient for each of its columns, {{column: number}}; "
                            f"not {row!r:.60}")
        if active not in (0, 1):
            raise ValueError(f"active is 0 or 1, not {active!r}")
        at = np.array([self.column(c) for c in row], np.int32)
        self.call("VNTLaddindconstr", self.column(binary), int(not active), len(at),
                  number_of(rhs, "rhs"),
                  ord(letters[sense]), at, _doubles(list(row.values()), len(at), "row"), name)

    def add_start(self, values: Mapping[Index, float] | Any, name: str | None = None) -> None:
        """A point at which a search begins: a value for each column, or for some by name."""
        if isinstance(values, Mapping):
            at = np.array([self.column(c) for c in values], np.int32)
            numbers = _doubles(list(values.values()), len(at), "values")
        else:
            at = np.arange(self.num_columns, dtype=np.int32)
            numbers = _doubles(values, len(at), "values")
        self.call("VNTLaddmipstarts", 1, len(at), np.zeros(1, np.int64), at, numbers, None,
                  None if name is None else [name])

    def set_basis(self, columns: np.ndarray, rows: np.ndarray) -> None:
        """The basis at which a simplex method begins, as from Result.basis."""
        self.call("VNTLcopybase", _statuses(columns, self.num_columns, "columns"),
                  _statuses(rows, self.num_rows, "rows"))

    # --- Files ----------------------------------------------------------------------------

    def read(self, path: str | os.PathLike[str], format: str | None = None) -> None:
        """Takes the problem of a file; the file is of this process's machine."""
        self.call("VNTEreadcopyprob", *_file(path), format)

    def read_basis(self, path: str | os.PathLike[str]) -> None:
        self.call("VNTEreadcopybase", *_file(path))

    def read_starts(self, path: str | os.PathLike[str]) -> None:
        self.call("VNTEreadcopymipstarts", *_file(path))

    def write(self, path: str | os.PathLike[str], format: str | None = None) -> None:
        """Writes the problem; the format is that of the name unless given: "lp", "mps"."""
        self.call("VNTLwriteprob", os.fsdecode(path), format)

    # --- Solving --------------------------------------------------------------------------

    def start(self, method: str = "auto", **parameters: Any) -> Run:
        """Begins to solve and returns at once: see Run.

        method: "auto", "primal", "dual", "barrier", "network" or "sifting"; the latter five take a
        continuous problem.  Keywords are parameters, for this solve only.
        """
        return Run._start(self, method, parameters)

    def solve(self, method: str = "auto", **parameters: Any) -> Result:
        """Solves and returns the result.  Ctrl-C ends the solve and keeps the incumbent."""
        return self.start(method, **parameters)._result_here()


def _statuses(values: Any, count: int, name: str) -> np.ndarray:
    array = np.asarray(values)
    if array.dtype.kind not in "iu" and array.size > 0:
        raise TypeError(f"{name}: VNT_BASIS_* are whole numbers, not {values!r:.60}")
    array = np.ascontiguousarray(array, np.int32)
    if array.shape != (count,):
        raise ValueError(f"{name}: shape {array.shape} where ({count},) is taken")
    return array


def _unbounded(values: np.ndarray) -> np.ndarray:
    values[values >= INFINITY] = np.inf
    values[values <= -INFINITY] = -np.inf
    return values


def _count(c: Numbers, columns: int | None, names: Sequence[str] | None, count: int | None) -> int:
    if np.ndim(c) > 0:
        return len(c)
    if columns is not None:
        return columns
    if names is not None:
        return len(names)
    return 1 if count is None else count


def _file(path: str | os.PathLike[str]) -> tuple[str, bytes, int]:
    """Name, contents and length: the solver of a worker does not see this machine's files."""
    name = os.fsdecode(path)
    with open(name, "rb") as file:
        contents = file.read()
    return name, contents, len(contents)
