"""Many solves at once: a list of models, one model with several settings."""
from __future__ import annotations

import contextlib
import dataclasses
import operator
import os
import queue
import tempfile
import threading
import weakref
from typing import Any, Callable, Iterable, Iterator, Mapping, Sequence, Union

from .environment import Bound, Environment, number_of
from .lib import Error, errors
from .model import Model
from .result import Result
from .run import Progress, Run

# A file, or what makes a model in an environment.
Source = Union[str, "os.PathLike[str]", Callable[[Environment], Model]]

_lost = (errors.REMOTE, errors.CONNECTION_LOST)
_proofs = (1, 2, 3, 4, 10)


def _make(source: Source, env: Environment) -> Model:
    if isinstance(source, Model):
        raise TypeError("a Model belongs to one environment: name a file, or give a function that "
                        "makes the model in the environment it is given")
    if not callable(source):
        return env.read(source)
    made = source(env)
    if not isinstance(made, Model):
        raise TypeError(f"a function that makes a Model is taken; {source!r:.60} made {made!r:.60}")
    return made


@contextlib.contextmanager
def _source(model: Source | Model) -> Iterator[Source]:
    """A model as what other environments can read."""
    if not isinstance(model, Model):
        yield model
        return
    with tempfile.TemporaryDirectory() as folder:
        file = os.path.join(folder, "model.mps")
        model.write(file)
        yield file


class Map(Bound):
    """The results of map(), in the order of the models or as they come.

    Iterating gives Result objects, or pairs of index and Result as they come.  cancel() stops what
    runs and leaves out the rest; so does leaving a `with` block, and so does an iterator that
    nothing refers to any more.
    """

    def __init__(self, crew: _Crew, ordered: bool):
        self._crew, self._ordered = crew, ordered
        self._count = len(crew.models)
        self._early: dict[int, Any] = {}  # what has come before its turn
        self._given = 0
        self._finish = weakref.finalize(self, crew.cancel)

    def __enter__(self) -> Map:
        return self

    def __exit__(self, *_: Any) -> None:
        self.cancel()

    def __len__(self) -> int:
        return self._count

    def cancel(self) -> None:
        """Stops the solves that run and begins no others; iterating ends."""
        self._crew.cancel()

    def __iter__(self) -> Map:
        return self

    def __next__(self) -> Any:
        while self._given < self._count:
            if self._given in self._early:
                return self._give(self._given, self._early.pop(self._given))
            index, outcome = self._crew.done.get()
            if index < 0:
                break
            if not self._ordered:
                return index, self._give(index, outcome)
            self._early[index] = outcome
        self._given = self._count
        raise StopIteration

    def _give(self, index: int, outcome: Any) -> Result:
        self._given += 1
        if isinstance(outcome, BaseException):
            outcome.model_index = index  # type: ignore[attr-defined]
            raise outcome
        return outcome


class _Crew:
    """The threads that solve what map() was given."""

    def __init__(self, models: Sequence[Source], server: str | None, workers: int, retries: int,
                 patience: float | None, method: str, parameters: dict[str, Any]):
        self._server, self._method, self._parameters = server, method, parameters
        self._retries, self._patience = retries, patience
        self.models = models
        self._waiting: queue.SimpleQueue[tuple[int, int]] = queue.SimpleQueue()
        self.done: queue.SimpleQueue[tuple[int, Any]] = queue.SimpleQueue()
        self._lock = threading.Lock()
        self._running: set[Run] = set()
        self._left = len(models)
        self._process = os.getpid()
        self._cancelled = False
        for i in range(len(models)):
            self._waiting.put((i, 0))
        for _ in range(min(workers, len(models))):
            threading.Thread(target=self._work, name="vanto map", daemon=True).start()

    def cancel(self) -> None:
        if self._process != os.getpid():
            return
        with self._lock:
            self._cancelled = True
            running = list(self._running)
        for run in running:
            run.stop()
        self.done.put((-1, None))

    def _work(self) -> None:
        env = None
        while not self._cancelled:
            with self._lock:
                if self._left == 0:
                    break
            try:
                index, tried = self._waiting.get(timeout=0.05)
            except queue.Empty:
                continue  # a model may come back from a lost worker
            try:
                env = env or self._open()
                self._finish(index, self._solve(env, self.models[index]))
            except BaseException as e:  # whatever a function of the caller's raises
                lost = isinstance(e, Error) and e.number in _lost
                if lost and env is not None:
                    env.close()
                    env = None
                if lost and tried < self._retries:
                    self._waiting.put((index, tried + 1))
                else:
                    self._finish(index, e)
        if env is not None:
            env.close()

    def _open(self) -> Environment:
        env = Environment(self._server, **self._parameters)
        if self._server is not None and self._patience is not None:
            env.call("vntclient_settimeouts", int(min(1000 * self._patience, 2e9)), -1)
        return env

    def _solve(self, env: Environment, source: Source) -> Result:
        with _make(source, env) as model:
            run = model.start(self._method)
            with self._lock:
                self._running.add(run)
                cancelled = self._cancelled
            if cancelled:
                run.stop()
            try:
                return run.result().keep_names()
            finally:
                with self._lock:
                    self._running.discard(run)

    def _finish(self, index: int, outcome: Any) -> None:
        with self._lock:
            self._left -= 1
        self.done.put((index, outcome))


def map(models: Iterable[Source], server: str | None = None, workers: int | None = None, *,
        ordered: bool = True, retries: int = 3, patience: float | None = 300,
        method: str = "auto", **parameters: Any) -> Map:
    """Solves models, `workers` at a time, and gives their results as an iterator.

    models: names of files, or functions that make a Model in the Environment they are given.
    workers: as many as this machine has processors unless given.  Each has an environment of its
    own; with "@file" these spread over the servers of the pool.  What a lost worker had is tried
    again, `retries` times.  A worker counts as lost, too, when it says nothing for `patience`
    seconds: a solve in it speaks all the time, but reading a model does not.  With ordered=False
    pairs of index and result come as they are ready.

    Errors: iterating raises what a model raised; its attribute model_index says which it was, and
    the next step goes on after it.
    """
    if isinstance(models, (str, bytes, os.PathLike, Model)) or callable(models):
        raise TypeError(f"models are a list of names and functions, not {models!r:.60}")
    count = operator.index(workers if workers is not None else os.cpu_count() or 1)
    if count < 1:
        raise ValueError(f"{count} workers: 1 or more are taken")
    if patience is not None and not number_of(patience, "patience") > 0:
        raise ValueError(f"patience is None or seconds above 0, not {patience!r}")
    crew = _Crew(list(models), server, count, operator.index(retries), patience, method, parameters)
    return Map(crew, ordered)


@dataclasses.dataclass(frozen=True)
class Outcome:
    """What race() and conduct() found.

    result    the best
    setting   the index of the settings that found it
    proven    whether it is proven to be the best, by whichever of the solves
    results   of all solves; None for one that failed
    """

    result: Result
    setting: int
    proven: bool
    results: list[Result | None]


class _Race:
    def __init__(self, runs: list[Run], conducted: bool, maximize: bool):
        self.runs, self.conducted, self.maximize = runs, conducted, maximize
        self.news: queue.SimpleQueue[tuple[int, Progress | None]] = queue.SimpleQueue()
        self.best: float | None = None

    def follow(self, i: int) -> None:
        for told in self.runs[i].progress():
            if told.event == "incumbent":
                self.news.put((i, told))
        self.news.put((i, None))

    def share(self, finder: int, objective: float) -> None:
        worse = self.best is not None and \
            (objective <= self.best if self.maximize else objective >= self.best)
        if worse:
            return
        self.best = objective
        for i, run in enumerate(self.runs):
            if i != finder:
                run.inject(objective)

    def proven(self, i: int) -> bool:
        result = _result_of(self.runs[i])
        if result is None:
            return False
        # Nothing better than what another one found: that one's is the best.
        beaten = result.status == 12 and self.conducted and self.best is not None
        return result.status in _proofs or beaten

    def run(self) -> bool:
        for i in range(len(self.runs)):
            threading.Thread(target=self.follow, args=(i,), daemon=True).start()
        left = len(self.runs)
        try:
            while left > 0:
                i, told = self.news.get()
                if told is None:
                    left -= 1
                    if self.proven(i):
                        return True
                elif self.conducted and told.incumbent is not None:
                    self.share(i, told.incumbent)
            return False
        finally:
            for run in self.runs:
                run.stop()
                run.wait()


def _compete(model: Source | Model, settings: Sequence[Mapping[str, Any]], server: str | None,
             conducted: bool, method: str) -> Outcome:
    if not settings:
        raise ValueError("no settings")
    for one in settings:
        if not isinstance(one, Mapping):
            raise TypeError(f"each of the settings has parameters by name, {{name: value}}; "
                            f"not {one!r:.60}")
    with _source(model) as source, contextlib.ExitStack() as stack:
        envs = [stack.enter_context(Environment(server, **s)) for s in settings]
        models = [_make(source, env) for env in envs]
        maximize = models[0].maximize
        race = _Race([m.start(method) for m in models], conducted, maximize)
        proven = race.run()
        results = [_result_of(run) for run in race.runs]
    best = _best(results, maximize)
    result = None if best is None else results[best]
    if best is None or result is None:
        raise race.runs[0]._error or Error(errors.NO_SOLUTION, "no solve gave a result")
    return Outcome(result, best, proven, results)


def _result_of(run: Run) -> Result | None:
    try:
        return run.result().keep_names()
    except Error:
        return None


def _best(results: list[Result | None], maximize: bool) -> int | None:
    """A proven one, else the one with the best objective, else any."""
    def worth(i: int) -> tuple[bool, bool, float]:
        result = results[i]
        assert result is not None
        objective = result.objective
        value = 0.0 if objective is None else objective if maximize else -objective
        return result.status in _proofs, objective is not None, value
    there = [i for i, result in enumerate(results) if result is not None]
    return max(there, key=worth) if there else None


def race(model: Source | Model, settings: Sequence[Mapping[str, Any]], server: str | None = None,
         *, method: str = "auto") -> Outcome:
    """Solves one model with several settings at once.  The first that proves its answer ends all.

    settings: parameters for each, as in Environment(...).  Every solve has its own environment.
    """
    return _compete(model, settings, server, False, method)


def conduct(model: Source | Model, settings: Sequence[Mapping[str, Any]],
            server: str | None = None) -> Outcome:
    """As race(), and each incumbent is told to the other solves as soon as it is found."""
    return _compete(model, settings, server, True, "auto")
