"""Every function of vanto.h and vanto_client.h under its own name.

    from vanto import lib

    status = lib.ffi.new("int *")
    env = lib.VNTLopenVANTO(status)           # in this process
    env = lib.vntclient_open(2, arguments, status)  # in a worker
    lib.VNTLgetx(env, lp, x, 0, len(x) - 1)

Signatures come from the installed headers.  A function goes to the library that its environment
was opened with; one without an environment goes to the solver of this process, those of the
client to the client's library.  `local` and `remote` name the two themselves.

Arguments: None is a null pointer, a str a string, a list of str an array of strings.  A numpy
array is passed without a copy: it must be contiguous and of the element type that the function
takes.  Constants are attributes as well.

Errors: a status other than 0 raises Error.  Functions that return a count or a value return it.

Threads: the interpreter's lock is free during a call, so that threads solve at the same time;
one thread at a time uses an environment.  Here nothing is checked that the functions do not check
themselves: a wrong pointer ends the process.
"""
from __future__ import annotations

import os
import pathlib
import re
import threading
import types
from typing import Any

import cffi
import numpy as np

__all__ = ["Error", "Library", "ffi", "local", "remote"]


class Error(Exception):
    """A failed call: its number, the name of that status and what was wrong, in words."""

    def __init__(self, number: int, text: str, name: str | None = None):
        self.number = number
        self.name = name or _names.get(number, f"status {number}")
        self.text = text or _meanings.get(number, "")
        super().__init__(f"{self.text} ({self.name})" if self.text else self.name)

    def __reduce__(self) -> Any:  # its arguments are not those of Exception
        return Error, (self.number, self.text, self.name)


def _roots() -> list[pathlib.Path]:
    """Where the headers and libraries may be: said so, beside this file, installed."""
    here = pathlib.Path(__file__).resolve()
    said = [pathlib.Path(os.environ["VANTO_ROOT"]).resolve()] if "VANTO_ROOT" in os.environ else []
    return [*said, *here.parents[1:7], pathlib.Path("/usr/local"), pathlib.Path("/usr")]


def _header(name: str) -> str:
    for root in _roots():
        path = root / "include" / name
        if path.is_file():
            return path.read_text()
    raise ImportError(f"{name} is not installed; VANTO_ROOT may name the folder above include/")


def _open_library(name: str) -> Any:
    for root in _roots():
        for folder in ("build/lib", "lib", *(f"lib/{f.name}" for f in root.glob("lib/*-linux-gnu"))):
            for file in (f"{name}.so.0", f"{name}.so"):
                if (root / folder / file).is_file():
                    return ffi.dlopen(str(root / folder / file))
    return ffi.dlopen(f"{name}.so.0")  # wherever the system's loader finds it


def _declarations(header: str) -> str:
    """What cffi takes of a header: all but the lines for the preprocessor and those for C++."""
    header = re.sub(r"#ifdef __cplusplus.*?#endif", "", header, flags=re.S)
    header = re.sub(r"(?m)^#.*$", "", header)
    return re.sub(r"(?m)//.*$", "", header)


_texts = [_header("vanto.h"), _header("vanto_client.h")]
_statuses = re.findall(r"(VNTERR_\w+) = (\d+),?[ \t]*(?://[ \t]*(.*))?", _texts[0])
_names = {int(number): name for name, number, _ in _statuses}
_meanings = {int(number): meaning or name[len("VNTERR_"):].lower().replace("_", " ")
             for name, number, meaning in _statuses}
errors = types.SimpleNamespace(**{name[len("VNTERR_"):]: int(number)
                                  for name, number, _ in _statuses})
_values = frozenset(pathlib.Path(__file__).with_name("values.txt").read_text().split())

ffi = cffi.FFI()
for _text in _texts:
    ffi.cdef(_declarations(_text))
_functions = frozenset(name for _text in _texts for name in
                       re.findall(r"\b((?:VNT|vntclient_)\w+)\(", _declarations(_text)))
parameters = frozenset(name.lower() for name in re.findall(r"\bVNT_PARAM_(\w+) =", _texts[0]))
constants = {name: float(number) for _text in _texts
             for name, number in re.findall(r"(?m)^#define (VNT\w+) ([0-9.e]+)$", _text)}

_elements = {"int": np.int32, "int64_t": np.int64, "double": np.float64, "char": np.int8,
             "uint64_t": np.uint64}


def _element(pointer: Any) -> Any:
    return _elements.get(re.sub(r"\b(const|volatile)\b", "", pointer.item.cname).strip())


def _array(pointer: Any, values: np.ndarray, name: str) -> Any:
    """The array's own memory as a C pointer."""
    wanted = _element(pointer)
    if pointer.item.cname == "void":
        wanted = values.dtype
    if wanted is None or (values.dtype != wanted and not
                          (values.dtype.itemsize == 1 and np.dtype(wanted).itemsize == 1)):
        raise TypeError(f"{name}: an array of {values.dtype} where {pointer.cname} is taken")
    if not values.flags.c_contiguous:
        raise TypeError(f"{name}: an array that is not contiguous")
    return ffi.cast(pointer, ffi.from_buffer(values)) if values.size else ffi.cast(pointer, 1)


def _strings(values: Any, keep: list[Any]) -> Any:
    texts = [ffi.NULL if v is None else ffi.new("char[]", _bytes(v)) for v in values]
    keep.append(texts)
    return ffi.new("const char *[]", texts)


def _bytes(text: str | bytes) -> bytes:
    """A text as C has it; what was not UTF-8 where Python read it becomes the same bytes again."""
    if isinstance(text, bytes):
        return text
    if not isinstance(text, str):
        raise TypeError(f"a str is taken, not {text!r:.60}")
    if "\0" in text:
        raise ValueError(f"a character 0 in {text!r:.60}")
    return text.encode(errors="surrogateescape")


def text_of(c: Any) -> str:
    """A string of C's; bytes that are not UTF-8 become what str() of file names has for them."""
    return ffi.string(c).decode(errors="surrogateescape")


def _argument(wanted: Any, value: Any, name: str, keep: list[Any]) -> Any:
    if value is None and wanted.kind in ("pointer", "function"):
        return ffi.NULL
    if isinstance(value, np.ndarray) and wanted.kind == "pointer":
        return _array(wanted, value, name)
    if wanted.kind == "pointer" and isinstance(value, str):
        return _bytes(value)
    if wanted.kind == "pointer" and isinstance(value, (list, tuple)) \
            and wanted.item.kind == "pointer" and not any(isinstance(v, ffi.CData) for v in value):
        return _strings(value, keep)
    if wanted.kind == "pointer" and isinstance(value, (int, float)):
        raise TypeError(f"{name}: {value!r} where {wanted.cname} is taken")
    return value


class Function:
    """One function of one library."""

    def __init__(self, library: Library, name: str):
        self.library = library
        self.name = name
        self.c = getattr(library.c, name)
        self.type = ffi.typeof(self.c)
        self.parameters = self.type.args
        # A status is an int that is neither a count nor a value.
        self.returns_status = self.type.result.cname == "int" and name not in _values
        self.makes = self.type.result.kind == "pointer" and self.type.result.item.kind == "struct"

    def __call__(self, *arguments: Any) -> Any:
        if len(arguments) != len(self.parameters):
            raise TypeError(f"{self.name} takes {len(self.parameters)} arguments, "
                            f"{len(arguments)} were given")
        keep: list[Any] = []  # what the arguments point to
        passed = [_argument(p, a, self.name, keep) for p, a in zip(self.parameters, arguments)]
        if self.makes:
            return self._make(passed)
        result = self.c(*passed)
        if self.returns_status and result != 0:
            raise Error(result, self.library.error_text(self.name))
        return result

    def _make(self, passed: list[Any]) -> Any:
        """An object or Error: the status is kept even where the caller wants none."""
        place = next((i for i, p in enumerate(self.parameters) if p.cname == "int *"), None)
        if place is not None and passed[place] == ffi.NULL:
            passed[place] = ffi.new("int *")
        made = self.c(*passed)
        if made == ffi.NULL and place is not None and passed[place][0] != 0:
            raise Error(passed[place][0], self.library.error_text(self.name))
        if made != ffi.NULL and self.type.result.cname == "struct vntenv *":
            _owners[int(ffi.cast("uintptr_t", made))] = self.library
        return made


class Library:
    """The functions of one shared library as attributes."""

    def __init__(self, name: str):
        self._name = name
        self._lock = threading.Lock()

    def __getattr__(self, name: str) -> Any:
        if name == "c":  # the library is loaded at the first use
            with self._lock:
                if "c" not in self.__dict__:
                    self.__dict__["c"] = _open_library(self._name)
            return self.__dict__["c"]
        if name in constants:
            found: Any = constants[name]
        elif name in _functions:
            try:
                found = Function(self, name)
            except AttributeError:
                raise AttributeError(f"{self._name} has no {name}") from None
        elif name.startswith("VNT"):
            found = getattr(self.c, name)
        else:
            raise AttributeError(name)
        self.__dict__[name] = found
        return found

    def error_text(self, function: str) -> str:
        """What the client's library says was wrong, empty for the solver of this process."""
        if self is local:
            return ""
        return ffi.string(self.c.vntclient_errortext()).decode(errors="replace")


local = Library("libvanto")
remote = Library("libvantoclient")
_owners: dict[int, Library] = {}  # by the environment's address


def _owner(arguments: tuple[Any, ...]) -> Library | None:
    if not arguments or not isinstance(arguments[0], ffi.CData):
        return None
    first = arguments[0]
    if ffi.typeof(first).cname == "struct vntenv * *":  # to be closed
        first = first[0]
    return _owners.get(int(ffi.cast("uintptr_t", first)))


def __getattr__(name: str) -> Any:
    if name not in _functions:
        return getattr(local, name)
    other = remote if name.startswith("vntclient_") else local

    def call(*arguments: Any) -> Any:
        return getattr(_owner(arguments) or other, name)(*arguments)

    call.__name__ = name
    return call


def __dir__() -> list[str]:
    return sorted([*globals(), *_functions, *constants])
