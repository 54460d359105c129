"""Environments: where problems live, in this process or in a worker."""
from __future__ import annotations

import contextlib
import logging
import os
import threading
import weakref
from typing import TYPE_CHECKING, Any, Callable, Iterator

from . import lib
from .lib import Error, errors, ffi

if TYPE_CHECKING:
    from .model import Model
    from .result import Result

_levels = (logging.INFO, logging.WARNING, logging.ERROR, logging.DEBUG)  # by channel


class _Handle:
    """The solver's environment.  It is closed once, by the process that opened it.

    Problems keep it alive, so that objects may go in any order.
    """

    def __init__(self, library: lib.Library, c: Any):
        self.library = library
        self.c = c
        self.process = os.getpid()
        self.lock = threading.RLock()
        self.running: Any = None  # the Run that has the environment
        self.calling = 0          # calls that have begun; callbacks come in the middle of one
        self.last_error = ""      # of the error channel
        self.keep: list[Any] = []  # callbacks that the solver knows
        self.unfreed: list[Any] = []  # problems that went during a solve or a call
        self.results: weakref.WeakSet[Result] = weakref.WeakSet()  # that have no names yet

    @property
    def usable(self) -> bool:
        return self.c is not None and self.process == os.getpid()

    def close(self) -> None:
        if not self.usable:
            return
        with self.lock:
            place = ffi.new("VNTENVptr *", self.c)
            self.c = None
            with contextlib.suppress(Error):  # a lost connection: there is nothing to close
                self.library.VNTLcloseVANTO(place)

    def free(self, problem: Any) -> None:
        """Frees a problem, or has it freed when the solve or call ends that has the environment.

        An object may go at any time, in any thread, also in a callback: nothing else may enter
        the library then.
        """
        if not self.usable:
            return
        with self.lock:
            if self.running is not None or self.calling > 0:
                self.unfreed.append(problem)
            elif self.usable:
                self.library.VNTLfreeprob(self.c, ffi.new("VNTLPptr *", problem))

    def run_has_ended(self) -> None:
        with self.lock:
            self.running = None
            self.free_late()

    def free_late(self) -> None:
        """Frees what free() could not.  Under the lock."""
        while self.unfreed and self.running is None and self.calling == 0:
            with contextlib.suppress(Error):  # with its worker, for instance
                self.free(self.unfreed.pop())


class Bound:
    """What cannot be copied: it is of one process and stands for an object of the library."""

    def __reduce__(self) -> Any:
        kind = type(self).__name__.lstrip("_")
        raise TypeError(f"{kind} objects can neither be copied nor pickled; a Result can, and a "
                        "function that makes a model can be given to other processes")


class Parameters(Bound):
    """The parameters of an environment by name: `params.timelimit = 60`.

    Names are those of VNT_PARAM_* without the prefix, in any case, with or without underscores.
    A value outside of its parameter's range is refused before anything is sent.
    """

    def __init__(self, handle: _Handle):
        self.__dict__["_handle"] = handle
        self.__dict__["_known"] = {}

    def __dir__(self) -> list[str]:
        return sorted(lib.parameters)

    def __iter__(self) -> Iterator[str]:
        return iter(sorted(lib.parameters))

    def __getattr__(self, name: str) -> Any:
        return self._info(name).get(self._handle)

    def __setattr__(self, name: str, value: Any) -> None:
        self._info(name).set(self._handle, value)

    __getitem__ = __getattr__
    __setitem__ = __setattr__

    def range(self, name: str) -> tuple[Any, Any, Any]:
        """Default, lowest and highest value; the latter two are None for texts."""
        info = self._info(name)
        return info.default, info.low, info.high

    def reset(self) -> None:
        """Gives all parameters their defaults."""
        call(self._handle, "VNTLsetdefaults")

    def _info(self, name: str) -> _Parameter:
        if not isinstance(name, str):
            raise TypeError(f"a parameter's name is a str, not {name!r}")
        if name.startswith("_"):  # what copy and inspect look for
            raise AttributeError(name)
        plain = name.lower().replace("_", "")
        if plain not in self._known:
            found = [n for n in lib.parameters if n.replace("_", "") == plain]
            if not found:
                raise AttributeError(f"no parameter {name!r}; there are "
                                     + ", ".join(sorted(lib.parameters)))
            number = getattr(lib.local, "VNT_PARAM_" + found[0].upper())
            self._known[plain] = _Parameter(self._handle, found[0], number)
        return self._known[plain]


class _Parameter:
    """Number, type and range of a parameter."""

    _types = {1: ("int", "int"), 2: ("dbl", "double"), 3: ("str", "char"), 4: ("long", "int64_t")}

    def __init__(self, handle: _Handle, name: str, number: int):
        self.name = name
        self.number = number
        kind = ffi.new("int *")
        call(handle, "VNTLgetparamtype", number, kind)
        self.kind, self.c = self._types[kind[0]]
        self.low = self.high = None
        if self.kind == "str":
            self.default = self._text(handle, "VNTLinfostrparam")
            return
        default, low, high = (ffi.new(f"{self.c} *") for _ in range(3))
        call(handle, f"VNTLinfo{self.kind}param", number, default, low, high)
        self.default, self.low, self.high = default[0], low[0], high[0]

    def _text(self, handle: _Handle, function: str) -> str:
        room = ffi.new("char[4096]")
        call(handle, function, self.number, room)
        return ffi.string(room).decode(errors="replace")

    def get(self, handle: _Handle) -> Any:
        if self.kind == "str":
            return self._text(handle, "VNTLgetstrparam")
        place = ffi.new(f"{self.c} *")
        call(handle, f"VNTLget{self.kind}param", self.number, place)
        return place[0]

    def set(self, handle: _Handle, value: Any) -> None:
        if self.kind == "str":
            if not isinstance(value, str):
                raise TypeError(f"{self.name} takes a str, not {value!r}")
        elif self.kind == "dbl":
            value = number_of(value, self.name)
        elif isinstance(value, (int, bool)) or hasattr(value, "__index__"):
            value = int(value)
        else:
            raise TypeError(f"{self.name} takes an int, not {value!r}")
        if self.kind != "str" and not self.low <= value <= self.high:
            raise ValueError(f"{self.name} takes {self.low:g} to {self.high:g}, not {value!r}")
        call(handle, f"VNTLset{self.kind}param", self.number, value)


class Environment(Bound):
    """An environment of the solver, in this process or in a worker of its own.

    server: None for this process, else "host:port", "host", "unix:path" or "@file": one of the
    servers that the file lists.  The attribute is the address of the one that it became.
    Keywords are parameters: Environment(threads=4, timelimit=60).

    connect_timeout: seconds until Error with VNTERR_REMOTE where no server answers, 10 unless
    given; math.inf waits for ever.

    Messages of the solver go to the logger `log`: results and warnings, errors, and its log as
    DEBUG.  Close it with close() or use it as a context manager.

    Threads: any; a call waits for the one before it.  While a solve runs, other calls raise Error
    with VNTERR_SOLVING.  After a fork the child cannot use it.
    """

    def __init__(self, server: str | None = None, *, log: logging.Logger | None = None,
                 connect_timeout: float | None = None, **parameters: Any):
        if log is not None and not hasattr(log, "log"):
            raise TypeError(f"log is a logging.Logger, not {log!r:.60}")
        handle = _open(server, connect_timeout)
        if server is not None:  # of a pool, the one that was chosen
            server = ffi.string(lib.remote.vntclient_address(handle.c)).decode()
        self._own(handle, server, log)
        try:
            for name, value in parameters.items():
                setattr(self.params, name, value)
        except BaseException:
            self.close()
            raise

    @classmethod
    def _of(cls, handle: _Handle, server: str, log: logging.Logger | None) -> Environment:
        """The environment of a worker that was joined."""
        env = cls.__new__(cls)
        env._own(handle, server, log)
        return env

    def _own(self, handle: _Handle, server: str | None, log: logging.Logger | None) -> None:
        self.server = server
        self.log = log or logging.getLogger("vanto")
        self._handle = handle
        self._finish = weakref.finalize(self, _Handle.close, handle)
        self.params = Parameters(handle)
        self._send_messages()

    def __enter__(self) -> Environment:
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()

    def __repr__(self) -> str:
        state = "" if self._handle.usable else ", closed"
        return f"<vanto.Environment {self.server or 'in this process'}{state}>"

    @property
    def closed(self) -> bool:
        return not self._handle.usable

    @property
    def library(self) -> lib.Library:
        """The library that this environment's calls go to."""
        return self._handle.library

    @property
    def version(self) -> int:
        place = ffi.new("int *")
        self.call("VNTLversionnumber", place)
        return place[0]

    def close(self) -> None:
        """Ends the environment with its problems; a worker ends.  May be called again.

        A solve that runs in it is stopped first.
        """
        run = self._handle.running
        if run is not None and self._handle.usable:
            run.stop()
            run.wait()
        for result in list(self._handle.results):
            result._model_changes()
        self._finish()

    def call(self, function: str, *arguments: Any) -> Any:
        """Calls a function of vanto.h on this environment, with Error where it fails."""
        return call(self._handle, function, *arguments)

    def model(self, *arguments: Any, **keywords: Any) -> Model:
        """A new problem; takes what Model takes after the environment."""
        from .model import Model
        return Model(self, *arguments, **keywords)

    def read(self, path: str | os.PathLike[str], format: str | None = None) -> Model:
        """The problem of a file; its format is that of its name unless given: "lp", "mps"."""
        from .model import Model
        model = Model(self, name=os.path.splitext(os.path.basename(os.fsdecode(path)))[0])
        model.read(path, format)
        return model

    def user_function(self, number: int, data: bytes = b"", space: int = 65536) -> bytes:
        """Calls the worker's user function and gives its output."""
        output = ffi.new("char[]", max(space, 1))
        length = ffi.new("int64_t *")
        status = self.call("vntclient_userfunction", number, data, len(data), output, space, length)
        if status != 0:
            raise Error(status, f"user function {number} returned {status}")
        return bytes(ffi.buffer(output, min(length[0], space)))

    def on_info(self, function: Callable[[int, Any], None] | None) -> None:
        """Calls function(tag, array) with what code inside the worker sends; None ends that."""
        if function is not None and not callable(function):
            raise TypeError(f"function is None or can be called with tag and array; {function!r}")
        handler = ffi.NULL
        if function is not None:
            handler = ffi.callback("vntclient_infohandler", _info_handler(function, self.log))
            self._handle.keep.append(handler)
        self.call("vntclient_setinfohandler", handler, None)

    def _send_messages(self) -> None:
        places = [ffi.new("VNTCHANNELptr *") for _ in range(4)]
        self.call("VNTLgetchannels", *places)
        handle = weakref.ref(self._handle)
        for channel, place in enumerate(places):
            handler = ffi.callback("void(void *, const char *)",
                                   _message_handler(handle, self.log, channel))
            self._handle.keep.append(handler)
            self.call("VNTLaddfuncdest", place[0], None, handler)


def _message_handler(handle: Any, log: logging.Logger, channel: int) -> Callable[..., None]:
    def receive(_: Any, text: Any) -> None:
        words = ffi.string(text).decode(errors="replace").rstrip("\n")
        there = handle()
        if channel == 2 and words and there is not None:
            there.last_error = words
        if words:
            log.log(_levels[channel], "%s", words)
    return receive


def _info_handler(function: Callable[[int, Any], None], log: logging.Logger) -> Callable[..., None]:
    types = {1: "int8", 2: "int16", 3: "int32", 4: "int64", 10: "float64"}

    def receive(_: Any, tag: int, kind: int, count: int, elements: Any, __: Any) -> None:
        import numpy as np
        array = np.zeros(0, types[kind])
        if count > 0:
            size = count * np.dtype(types[kind]).itemsize
            array = np.frombuffer(ffi.buffer(elements, size), types[kind]).copy()
        try:
            function(tag, array)
        except Exception:
            log.exception("an info handler failed")
    return receive


@contextlib.contextmanager
def connecting(timeout: float | None) -> Iterator[None]:
    """How long this thread may take to connect meanwhile, in seconds; 10 unless given."""
    seconds = 10.0 if timeout is None else number_of(timeout, "connect_timeout")
    if not seconds >= 0:
        raise ValueError(f"connect_timeout takes seconds from 0 on, not {timeout!r}")
    lib.remote.vntclient_connecttimeout(round(seconds * 1000) if seconds <= 2e6 else -1)
    try:
        yield
    finally:
        lib.remote.vntclient_connecttimeout(10_000)


def _open(server: str | None, timeout: float | None) -> _Handle:
    if server is None:
        return _Handle(lib.local, lib.local.VNTLopenVANTO(None))
    wrong = (f"{server!r:.100} is no server: None or one of \"host:port\", \"host\", \"unix:path\", "
             "\"@file\" is expected")
    if not isinstance(server, str) or not server:
        raise ValueError(wrong)
    try:
        with connecting(timeout):
            return _Handle(lib.remote, lib.remote.vntclient_open(1, ["-address=" + server], None))
    except Error as error:
        if error.number != errors.BAD_ARGUMENT or server.startswith("@"):
            raise
        raise ValueError(wrong) from None


def number_of(value: Any, name: str) -> float:
    """A float of a number; texts are none."""
    try:
        if isinstance(value, (str, bytes)):
            raise TypeError
        return float(value)
    except (TypeError, ValueError):
        raise TypeError(f"{name} takes a number, not {value!r:.60}") from None


def call(handle: _Handle, function: str, *arguments: Any) -> Any:
    """Calls a function on an environment that nothing else uses at the time."""
    if handle.process != os.getpid():
        raise Error(errors.NO_ENVIRONMENT,
                    "this environment belongs to the parent process")
    with handle.lock:
        if handle.c is None:
            raise Error(errors.NO_ENVIRONMENT, "this environment is closed")
        run = handle.running
        if run is not None and not run._may_call():
            raise Error(errors.SOLVING, f"{function} must wait: a solve of this environment runs")
        handle.last_error = ""
        handle.calling += 1
        try:
            result = getattr(handle.library, function)(handle.c, *arguments)
            if result == 0 and function in lib._values:  # a lost worker counts nothing, too
                handle.library.VNTLversionnumber(handle.c, ffi.new("int *"))
            return result
        except AttributeError:
            if function.startswith("vntclient_"):
                raise Error(errors.NOT_SUPPORTED, "this takes an environment in a worker") from None
            raise
        except Error as e:
            raise Error(e.number, handle.last_error or e.text) from None
        finally:
            handle.calling -= 1
            handle.free_late()
