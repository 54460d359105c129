import pathlib
import subprocess
import sys
import threading
import time

import numpy as np
import pytest

from vanto import lib


def test_functions_come_from_the_headers_and_values_are_told_from_statuses():
    assert len(lib._functions) > 441
    folder = pathlib.Path(__file__).resolve().parents[1]
    made = subprocess.run([sys.executable, folder / "make_values"], capture_output=True, text=True)
    assert made.stdout == (folder / "vanto/values.txt").read_text(), \
        "./make_values > vanto/values.txt"
    for name in lib._functions:
        for library in (lib.local, lib.remote):
            if library is lib.local and name.startswith("vntclient_"):
                continue
            assert callable(getattr(library, name)), name


def test_arrays_are_passed_as_they_are_or_refused(server):
    arguments = [lib.ffi.new("char[]", f"-address={server.address}".encode())]
    env = lib.vntclient_open(1, lib.ffi.new("const char *[]", arguments), None)
    here = lib.VNTLopenVANTO(None)
    for e in (env, here):  # each call goes to its environment's library
        lp = lib.VNTLcreateprob(e, None, "p")
        lib.VNTLnewcols(e, lp, 1500, np.ones(1500), None, np.full(1500, 2.0), None, None)
        assert lib.VNTLgetnumcols(e, lp) == 1500  # a count, though a status has that number
        lib.VNTLchgobjsen(e, lp, lib.VNT_MAX)
        lib.VNTLlpopt(e, lp)
        x = np.zeros(1500)
        lib.VNTLgetx(e, lp, x, 0, 1499)
        assert (x == 2).all()
        with pytest.raises(TypeError, match="float32"):
            lib.VNTLgetx(e, lp, np.zeros(1500, np.float32), 0, 1499)
        with pytest.raises(TypeError, match="contiguous"):
            lib.VNTLgetx(e, lp, np.zeros(3000)[::2], 0, 1499)
        with pytest.raises(lib.Error) as caught:
            lib.VNTLgetx(e, lp, x, 0, 1500)
        assert caught.value.number == lib.VNTERR_INDEX_RANGE
        assert caught.value.name == "VNTERR_INDEX_RANGE"
        lib.VNTLcloseVANTO(lib.ffi.new("VNTENVptr *", e))


def test_the_interpreter_runs_during_a_call(env, models):
    model = env.read(models / "misc07.mps")
    turns = []
    thread = threading.Thread(target=lambda: model.solve(timelimit=1))
    thread.start()
    while thread.is_alive():
        turns.append(time.monotonic())
        time.sleep(0.001)
    assert max(np.diff(turns)) < 0.5 * (turns[-1] - turns[0])
