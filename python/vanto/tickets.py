"""Leaving a solve in its worker and coming back: the tickets of vntsolve --detach and --attach."""
from __future__ import annotations

import contextlib
import logging
import os
import tempfile
import time
import urllib.parse
import zlib
from typing import TYPE_CHECKING

from . import lib
from .environment import Environment, _Handle, connecting
from .lib import Error, errors, ffi

if TYPE_CHECKING:
    from .run import Run

_first = "vntsolve ticket 2"


def _escaped(name: str) -> str:
    """On one line: control characters and the percent sign as %XX."""
    return "".join(f"%{ord(c):02x}" if c < " " or c in "%\x7f" else c for c in name)


def _packed(library: lib.Library, env: object) -> bytes:
    length = ffi.new("int64_t *")
    library.vntclient_pack(env, None, 0, length)
    record = ffi.new("char[]", length[0])
    library.vntclient_pack(env, record, length[0], length)
    return bytes(ffi.buffer(record, length[0]))


def leave(run: Run, path: str) -> None:
    """Writes the ticket, disconnects, and closes the environment of this process.

    On the run's own thread.  The ticket is on disk before the worker is left; only the user may
    read it, for it is enough to take over the worker.
    """
    handle = run._handle
    library, env = handle.library, handle.c
    record = _packed(library, env)
    model = run.model.name
    started = time.time() - (time.monotonic() - run._begin)
    text = (f"{_first}\nserver {_escaped(run.model.env.server or '')}\nmodel {_escaped(model)}\n"
            f"started {started:.3f}\ncheck {zlib.crc32(record):08x}\n\n")
    _write(path, text.encode() + record)
    try:
        library.vntclient_disconnect(env, ffi.new("char[160]"))
    except BaseException:
        os.unlink(path)
        raise
    with handle.lock:
        handle.c = None
        with contextlib.suppress(Error):  # which only forgets it here
            library.VNTLcloseVANTO(ffi.new("VNTENVptr *", env))


def _write(path: str, data: bytes) -> None:
    folder = os.path.dirname(os.path.abspath(path))
    fd, fresh = tempfile.mkstemp(dir=folder, prefix=os.path.basename(path))
    try:
        with os.fdopen(fd, "wb") as file:
            file.write(data)
            file.flush()
            os.fsync(file.fileno())
        os.replace(fresh, path)
    except BaseException:
        os.unlink(fresh)
        raise


def _read(path: str) -> tuple[dict[str, str], bytes]:
    with open(path, "rb") as file:
        head, gap, record = file.read(1 << 20).partition(b"\n\n")  # a device may never end
    lines = head.decode(errors="replace").split("\n")
    entries = dict(line.partition(" ")[::2] for line in lines[1:])
    if not gap or lines[0] != _first or entries.get("check") != f"{zlib.crc32(record):08x}":
        raise ValueError(f"{path}: not as detach() and vntsolve --detach write it")
    try:
        float(entries.setdefault("started", str(time.time())))
    except ValueError:  # the worker is of more worth than that line
        entries["started"] = str(time.time())
    return entries, record


def attach(path: str | os.PathLike[str], *, log: logging.Logger | None = None,
           connect_timeout: float | None = None) -> Run:
    """Takes up a solve that was left with detach() or by vntsolve --detach, and gives its Run.

    The run's model and environment are run.model and run.model.env.  The ticket stays until the
    result is there: result() removes it.
    Errors: ValueError for a file that is no ticket, Error with VNTERR_CONNECTION_LOST when the
    worker is gone, with VNTERR_REMOTE when the server does not answer, or the worker does not as
    it is suspended or another client has it.
    """
    from .model import Model
    from .run import _Remote
    name = os.fsdecode(path)
    entries, record = _read(name)
    place = ffi.new("VNTENVptr *")
    with connecting(connect_timeout):
        lib.remote.vntclient_attach(record, len(record), place)
    env = Environment._of(_Handle(lib.remote, place[0]),
                          urllib.parse.unquote(entries.get("server", "")), log)
    problem = ffi.new("VNTLPptr *")
    if env.call("vntclient_getproblems", 1, problem) < 1:
        env.close()
        raise Error(errors.NO_PROBLEM, f"{name}: the worker holds no problem")
    model = Model._of(env, problem[0], urllib.parse.unquote(entries.get("model", "model")))
    run = _Remote(model, (), {})
    run.joining = True
    run._begin -= max(0.0, time.time() - float(entries["started"]))
    run._ticket = name
    with env._handle.lock:
        env._handle.running = run
        run._begin_thread()
    return run
