"""Solves that run while the program does other things."""
from __future__ import annotations

import asyncio
import contextlib
import dataclasses
import os
import threading
import time
from typing import TYPE_CHECKING, Any, AsyncIterator, Callable, Iterator

from . import lib
from .environment import Bound, number_of
from .lib import Error, errors, ffi
from .result import Result

if TYPE_CHECKING:
    from .environment import _Handle
    from .model import Model

NONE = 1e75  # no limit, no value

_methods = {"primal": ("VNTLprimopt",), "dual": ("VNTLdualopt",), "barrier": ("VNTLbaropt",),
            "network": ("VNTLhybnetopt", 1), "sifting": ("VNTLsiftopt",)}
_automatic = {0: "VNTLlpopt", 2: "VNTLqpopt", 4: "VNTLqpopt", 6: "VNTLlpopt"}


@dataclasses.dataclass(frozen=True)
class Progress:
    """What a running solve tells of itself.

    incumbent and bound are None where there is none; gap is relative, None without an incumbent.
    event is "incumbent" for a new one, "bound" for a better bound, else "progress".
    """

    seconds: float
    nodes: int
    iterations: int
    incumbent: float | None
    bound: float | None
    gap: float | None
    solutions: int
    event: str = "progress"


class Run(Bound):
    """A solve that was started: Model.start().

    It runs in a thread, in this process or in the worker.  All methods may be called from any
    thread.  The environment does nothing else until it has ended.

        for p in run.progress(): ...     what it tells, until it ends
        async for p in run: ...          the same with asyncio
        run.result(), await run          the Result, or Error where the solve failed
    """

    interval = 0.1  # seconds between two looks at a running solve

    def __init__(self, model: Model, optimize: tuple[Any, ...], restore: dict[str, Any]):
        self.model = model
        self.problem = model._problem
        self._handle: _Handle = model.env._handle
        self._optimize = optimize
        self._restore = restore
        self._change = threading.Condition()
        self._orders: list[tuple[str, Any]] = []  # for the thread of the solve
        self._listeners: list[Callable[[Progress | None], None]] = []
        self._history: list[Progress] = []
        self._paused = self._ended = self._stopping = self._left = False
        self._outcome: Result | None = None
        self._error: BaseException | None = None
        self._begin: float = time.monotonic()
        self._thread: threading.Thread = threading.Thread(target=self._work, name="vanto solve", daemon=True)

    @staticmethod
    def _start(model: Model, method: str, parameters: dict[str, Any]) -> Run:
        restore: dict[str, Any] = {}
        handle = model.env._handle
        with handle.lock:
            optimize = _chosen(model, method)
            try:
                for name, value in parameters.items():
                    restore[name] = model.env.params[name]
                    model.env.params[name] = value
            except BaseException:
                _give_back(model, restore)
                raise
            run = (_Remote if model.env.server is not None else _Local)(model, optimize, restore)
            handle.running = run
            run._begin_thread()
        return run

    def _begin_thread(self) -> None:
        """Under the environment's lock."""
        try:
            self._thread.start()
        except RuntimeError:  # there may be no more threads
            self._handle.run_has_ended()
            _give_back(self.model, self._restore)
            raise

    # --- From the outside -----------------------------------------------------------------

    @property
    def state(self) -> str:
        """ "running", "paused", "ended" or "detached"."""
        self._check_process()
        with self._change:
            if self._left:
                return "detached"
            return "ended" if self._ended else "paused" if self._paused else "running"

    @property
    def history(self) -> list[Progress]:
        """All that was told so far."""
        self._check_process()
        with self._change:
            return list(self._history)

    def progress(self) -> Iterator[Progress]:
        """What the solve tells, from its beginning until it ends."""
        self._check_process()
        seen = 0
        while True:
            with self._change:
                while len(self._history) <= seen and not self._ended:
                    self._change.wait(0.5)
                new = self._history[seen:]
                ended = self._ended
            yield from new
            seen += len(new)
            if ended and not new:
                return

    async def __aiter__(self) -> AsyncIterator[Progress]:
        self._check_process()
        loop = asyncio.get_running_loop()
        queue: asyncio.Queue[Progress | None] = asyncio.Queue()

        def listen(told: Progress | None) -> None:
            with contextlib.suppress(RuntimeError):  # a loop that has been closed
                loop.call_soon_threadsafe(queue.put_nowait, told)

        with self._change:
            for told in self._history:
                queue.put_nowait(told)
            if self._ended:
                queue.put_nowait(None)
            self._listeners.append(listen)
        try:
            while (one := await queue.get()) is not None:
                yield one
        finally:
            with self._change:
                self._listeners.remove(listen)

    def __await__(self) -> Any:
        return self._awaited().__await__()

    async def _awaited(self) -> Result:
        async for _ in self:
            pass
        return self.result()

    def wait(self, timeout: float | None = None) -> bool:
        """Waits until the solve has ended, `timeout` seconds at most; says whether it has."""
        self._check_process()
        if timeout is not None:
            timeout = number_of(timeout, "timeout")
            if not timeout < threading.TIMEOUT_MAX:
                timeout = None
        with self._change:
            return self._change.wait_for(lambda: self._ended, timeout)

    def result(self, timeout: float | None = None) -> Result:
        """Waits for the result.  TimeoutError after `timeout` seconds; the solve goes on."""
        if not self.wait(timeout):
            raise TimeoutError(f"the solve has not ended after {timeout} seconds")
        if self._error is not None:
            raise self._error
        if self._outcome is None:
            raise Error(errors.SOLVING, "the solve was left: attach() takes it up again")
        return self._outcome

    def stop(self) -> None:
        """Ends the solve; it keeps its incumbent."""
        self._order("stop", None)

    def pause(self) -> None:
        """Makes the solve wait for resume()."""
        self._order("limits", (0, 0.0))

    def set_limits(self, *, progress: int = 0, seconds: float | None = None) -> None:
        """Limits at which the solve pauses: a count of the solver's units, seconds from now."""
        limit = NONE if seconds is None else number_of(seconds, "seconds")
        if not limit >= 0 or not 0 <= progress < 2**63:
            raise ValueError(f"limits from 0 on are taken, not {progress!r}, {seconds!r} seconds")
        self._order("limits", (int(progress), min(limit, NONE)))

    def resume(self) -> None:
        """Lets a paused solve go on, without limits."""
        self._order("resume", None)

    def inject(self, objective: float) -> None:
        """Tells the solve of a solution with this objective that was found elsewhere."""
        value = number_of(objective, "objective")
        if not abs(value) < 1e20:
            raise ValueError(f"an objective of {objective!r}")
        self._order("inject", value)

    def detach(self, path: str | os.PathLike[str]) -> None:
        """Leaves the solve to its worker; attach(path) takes it up again, here or elsewhere.

        The environment is closed in this process.
        """
        raise Error(errors.NOT_SUPPORTED, "only a solve in a worker can be left")

    def plot(self, axes: Any = None) -> Any:
        """Incumbent, bound and gap over time, on matplotlib axes; live in a notebook."""
        from .plots import plot_run
        return plot_run(self, axes)

    def __repr__(self) -> str:
        there = self._handle.process == os.getpid()
        return f"<vanto.Run {self.state if there else 'of another process'}>"

    def _result_here(self) -> Result:
        """The result, on a thread that Ctrl-C may interrupt: once ends the solve."""
        try:
            while not self.wait(0.2):
                pass
        except KeyboardInterrupt:
            self.stop()
            while not self.wait(0.2):
                pass
        return self.result()

    def _check_process(self) -> None:
        """A fork leaves the thread of the solve behind: in the child a wait would never end."""
        if self._handle.process != os.getpid():
            raise Error(errors.NO_ENVIRONMENT, "this run belongs to the parent process")

    def _order(self, what: str, value: Any) -> None:
        self._check_process()
        with self._change:
            if what == "stop":
                self._stopping = True
            self._orders.append((what, value))
            self._change.notify_all()
        if what == "stop":
            self._hurry()

    def _hurry(self) -> None:
        """Ends the solve without waiting for its next look."""

    def _may_call(self) -> bool:
        return threading.current_thread() is self._thread

    # --- In the thread of the solve -------------------------------------------------------

    def _work(self) -> None:
        try:
            self._solve()
            if not self._left:
                self._tell_last()
        except BaseException as e:  # for result()
            self._error = e
        if not self._left:
            _give_back(self.model, self._restore)
        self._handle.run_has_ended()
        with self._change:
            self._ended = True
            self._change.notify_all()
            for listener in self._listeners:
                listener(None)

    def _solve(self) -> None:
        raise NotImplementedError

    def _tell_last(self) -> None:
        seconds = time.monotonic() - self._begin
        with self._change:
            history = list(self._history)
        self._outcome = Result(self.model, seconds, history)

    def _taken(self) -> list[tuple[str, Any]]:
        with self._change:
            orders, self._orders = self._orders, []
        return orders

    def _tell(self, record: Any) -> None:
        """Notes what the solver says, and tells listeners."""
        found = record.gap < NONE or record.solutions > 0
        told = Progress(time.monotonic() - self._begin, record.nodes, record.iterations,
                        _finite(record.incumbent) if found else None, _finite(record.bound),
                        _finite(record.gap) if found else None, record.solutions)
        with self._change:
            before = self._history[-1] if self._history else None
            event = _event(before, told)
            if event is None:
                return
            told = dataclasses.replace(told, event=event)
            self._history.append(told)
            self._change.notify_all()
            for listener in self._listeners:
                listener(told)

    def _set_paused(self, value: bool) -> None:
        with self._change:
            if self._paused != value:
                self._paused = value
                self._change.notify_all()


def _give_back(model: Model, parameters: dict[str, Any]) -> None:
    """Sets parameters to what they were before a solve, unless the environment is gone."""
    with contextlib.suppress(Error):
        for name, value in parameters.items():
            model.env.params[name] = value


def _finite(value: float) -> float | None:
    return value if abs(value) < 1e20 else None


def _event(before: Progress | None, now: Progress) -> str | None:
    """What is new, None for nothing."""
    if before is None:
        return "incumbent" if now.incumbent is not None else "progress"
    if now.incumbent != before.incumbent:
        return "incumbent"
    if now.bound != before.bound:
        return "bound"
    same = (now.nodes, now.iterations) == (before.nodes, before.iterations)
    return None if same else "progress"


def _chosen(model: Model, method: str) -> tuple[Any, ...]:
    """The function to call and what follows the problem."""
    kind = model.call("VNTLgetprobtype")
    if method == "auto":
        return (_automatic.get(kind, "VNTLmipopt"),)
    if method not in _methods:
        raise ValueError(f"method {method!r}: there are auto, " + ", ".join(_methods))
    if kind in (1, 3, 5):
        raise ValueError(f"method {method!r} takes a continuous problem")
    return _methods[method]


class _Local(Run):
    """In this process: the solver calls back."""

    def __init__(self, *arguments: Any):
        super().__init__(*arguments)
        self._terminate = ffi.new("int *")
        self._next_look = 0.0
        self._limits = (0, NONE)

    def _hurry(self) -> None:
        self._terminate[0] = 1

    def _solve(self) -> None:
        library, env = self._handle.library, self._handle.c
        look = ffi.callback("int(VNTENVptr, void *, uint64_t, void *)", self._look, error=0)
        library.VNTLEsetasyncterminate(env, self._terminate)
        library.VNTEsetpausecallbackfunc(env, look, None)
        self._handle.last_error = ""
        try:
            name, *more = self._optimize
            getattr(library, name)(env, self.problem.c, *more)
        except Error as e:
            raise Error(e.number, self._handle.last_error or e.text) from None
        finally:
            library.VNTEsetpausecallbackfunc(env, None, None)
            library.VNTLEsetasyncterminate(env, None)

    def _look(self, env: Any, cbdata: Any, ticks: int, _: Any) -> int:
        now = time.monotonic()
        if now < self._next_look and not self._orders and ticks < (self._limits[0] or ticks + 1):
            return 0
        self._next_look = now + self.interval
        library = self._handle.library
        record = ffi.new("vntmipprogress *")
        if library.c.VNTEgetasyncmipprogress(env, cbdata, 0, record, NONE) == 0:
            self._tell(record)
        self._obey(env, cbdata)
        if self._reached(ticks):
            self._wait(env, cbdata)
        return 13 if self._stopping else 0

    def _reached(self, ticks: int) -> bool:
        progress, deadline = self._limits
        return (0 < progress <= ticks) or time.monotonic() >= deadline

    def _obey(self, env: Any, cbdata: Any) -> None:
        for what, value in self._taken():
            if what == "limits":
                self._limits = (value[0], time.monotonic() + value[1])
            elif what == "resume":
                self._limits = (0, NONE)
            elif what == "inject":
                sense = -1.0 if self._handle.library.c.VNTLgetobjsen(env, self.problem.c) == -1 \
                    else 1.0
                self._handle.library.c.VNTEasyncprogressinject(env, cbdata, value * sense, sense,
                                                               NONE)

    def _wait(self, env: Any, cbdata: Any) -> None:
        self._set_paused(True)
        while not self._stopping and self._reached(0):
            with self._change:
                self._change.wait_for(lambda: self._orders or self._stopping)
            self._limits = (0, self._limits[1] if self._limits[1] != NONE else 0.0)
            self._obey(env, cbdata)
        self._set_paused(False)


class _Remote(Run):
    """In a worker: asked from time to time."""

    joining = False  # whether the call was started by another process
    _ticket: str | None = None  # to be removed with the result

    def _solve(self) -> None:
        library, env = self._handle.library, self._handle.c
        self._handle.last_error = ""
        try:
            if not self.joining:
                library.vntclient_start(env)
                name, *more = self._optimize
                getattr(library, name)(env, self.problem.c, *more)
            while self._go_on():
                pass
            if not self._left:
                self._join(library, env)
        except Error as e:
            raise Error(e.number, self._handle.last_error or e.text) from None

    def _join(self, library: lib.Library, env: Any) -> None:
        try:
            library.vntclient_join(env)
        except Error as e:
            # Joined before, by one that lost its result.
            if not self.joining or e.number != errors.BAD_ARGUMENT:
                raise

    def _tell_last(self) -> None:
        super()._tell_last()
        if self._ticket is not None:
            with contextlib.suppress(FileNotFoundError):
                os.unlink(self._ticket)

    _nap = 0.001
    _next_look = 0.0

    def _go_on(self) -> bool:
        """One look; False when the solve has ended or was left."""
        with self._change:
            self._change.wait_for(lambda: self._orders, self._nap)
        self._nap = min(self._nap * 1.5, 0.05)
        library, env = self._handle.library, self._handle.c
        for what, value in self._taken():
            self._obey(what, value)
            if self._left:
                return False
        state = ffi.new("int *")
        library.vntclient_test(env, state)
        self._set_paused(state[0] == 2)
        if state[0] == 0:
            return False
        if time.monotonic() >= self._next_look:
            self._next_look = time.monotonic() + self.interval
            self._ask()
        return True

    def _ask(self) -> None:
        record = ffi.new("vntmipprogress *")
        try:
            self._handle.library.vntclient_progress(self._handle.c, 0, record)
        except Error as e:
            if e.number != errors.NO_SOLUTION:  # it has just ended
                raise
            return
        self._tell(record)

    def _obey(self, what: str, value: Any) -> None:
        library, env = self._handle.library, self._handle.c
        if what == "stop":
            library.vntclient_kill(env)
        elif what == "limits":
            library.vntclient_setlimits(env, *value)
        elif what == "inject":
            library.vntclient_inject(env, value)
            self._ask()
        elif what == "resume":
            state = ffi.new("int *")
            library.vntclient_test(env, state)
            if state[0] == 2:
                library.vntclient_continue(env, 0, NONE)
            else:
                library.vntclient_setlimits(env, 0, NONE)
        elif what == "detach":
            value(self)

    def detach(self, path: str | os.PathLike[str]) -> None:
        from .tickets import leave
        failed: list[BaseException] = []

        def go(run: Run) -> None:
            try:
                leave(run, os.fspath(path))
                run._left = True
            except BaseException as e:
                failed.append(e)

        done = threading.Event()

        def carry_out(run: Run) -> None:
            go(run)
            done.set()

        self._order("detach", carry_out)
        while not done.wait(0.1):
            if self._ended:
                raise Error(errors.NO_SOLUTION, "the solve has ended: there is nothing to leave")
        if failed:
            raise failed[0]
        self.wait()
