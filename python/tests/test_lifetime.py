import gc
import logging
import os
import signal
import subprocess
import sys
import threading
import time

import pytest

import vanto
from conftest import run_python


def test_objects_close_in_any_order_and_say_so(env):
    model = env.model([1.0], lb=1)
    other = env.model([1.0], lb=1)
    model.close()
    model.close()
    with pytest.raises(vanto.Error, match="closed"):
        model.solve()
    result = other.solve()
    env.close()
    env.close()
    for use in (other.solve, lambda: env.params.threads, lambda: other.num_rows, env.model):
        with pytest.raises(vanto.Error, match="closed"):
            use()
    other.close()
    assert result.x.tolist() == [1] and "closed" in repr(env) and "closed" in repr(other)
    del model, other
    gc.collect()


def test_a_model_that_goes_while_another_is_solved_waits_for_its_end(env, models):
    model = env.read(models / "misc07.mps")
    for moment in range(40):
        passing = env.model(c=[1])
        run = model.start()
        time.sleep(moment / 20000)
        del passing
        run.stop()
        run.result()
    assert env.model(c=[1]).solve().objective == 0


def test_a_result_outlives_its_model(env):
    model = env.model(c=[1, 2], lb=[3, 4], columns=["x", "y"])
    first = model.solve()
    model.delete_columns("x")
    second = model.solve()
    env.close()
    assert first.values() == {"x": 3, "y": 4} and second.values() == {"y": 4}


def test_a_child_of_a_fork_cannot_use_it_and_does_no_harm(env):
    model = env.model([1.0], lb=1)
    child = os.fork()
    if child == 0:
        try:
            model.solve()
        except vanto.Error:
            env.close()
            del model
            gc.collect()
            os._exit(0)
        os._exit(1)
    assert os.waitpid(child, 0)[1] == 0
    assert model.solve().objective == 1


def test_a_lost_worker_is_an_error_and_nothing_else(server, models):
    env = vanto.Environment(server.address)
    before = set(server.workers())
    other = vanto.Environment(server.address)
    model = other.read(models / "misc07.mps")
    run = model.start()
    time.sleep(0.3)
    worker, = set(server.workers()) - before
    os.kill(worker, signal.SIGKILL)
    with pytest.raises(vanto.Error) as caught:
        run.result(30)
    assert caught.value.name == "VNTERR_CONNECTION_LOST"
    with pytest.raises(vanto.Error):
        model.num_rows
    model.close()
    other.close()
    assert env.model([1.0], lb=1).solve().objective == 1
    env.close()


@pytest.mark.parametrize("end", ["", "raise SystemExit(0)", "env.close()", "del env, model",
                                 "import os, signal; run = None; os.kill(os.getpid(), signal.SIGINT)"])
def test_the_interpreter_ends_while_solves_run(place, models, end):
    done = run_python(f"""
import vanto
env = vanto.Environment({place!r})
model = env.read({str(models / 'misc07.mps')!r})
run = model.start()
next(run.progress())
{end}
""")
    expected = (130, -signal.SIGINT) if "SIGINT" in end else (0,)
    assert done.returncode in expected, done.stderr


def test_ctrl_c_ends_a_solve_and_keeps_the_incumbent(env, models):
    model = env.read(models / "misc07.mps")
    subprocess.Popen([sys.executable, "-c", "import os, sys, time, signal; time.sleep(2);"
                      f"os.kill({os.getpid()}, signal.SIGINT)"])
    result = model.solve()
    assert result.status == vanto.Status.STOPPED
    assert env.model([1.0], lb=1).solve().objective == 1


@pytest.mark.parametrize("use", [
    lambda run: run.result(), lambda run: list(run.progress()), lambda run: run.stop(),
    lambda run: run.state, lambda run: run.model.close(), lambda run: run.model.env.close()])
def test_a_child_of_a_fork_waits_for_no_solve(env, models, use):
    run = env.read(models / "misc07.mps").start()
    child = os.fork()
    if child == 0:
        try:
            use(run)
            os._exit(0)
        except vanto.Error:
            assert "another process" in repr(run)
            os._exit(0)
        finally:
            os._exit(1)
    hangs = threading.Timer(10, os.kill, (child, signal.SIGKILL))
    hangs.start()
    status = os.waitpid(child, 0)[1]
    hangs.cancel()
    assert status == 0 and run.state == "running"
    run.stop()
    assert run.result().status == vanto.Status.STOPPED


def test_a_model_that_goes_within_a_callback_is_freed_after_it(place):
    class Collects(logging.Handler):
        def emit(self, record):
            models.clear()

    log = logging.Logger("collects")
    log.addHandler(Collects())
    models = []
    with vanto.Environment(place, log=log) as env:
        models.append(env.model(c=[1]))
        problem = models[0]._problem.c
        with pytest.raises(vanto.Error):
            empty = env.call("VNTLcreateprob", None, "x")
            env.call("VNTEreadcopyprob", empty, "x.mps", b"?", 1, None)
        assert not models
        assert env.call("VNTLgetnumcols", problem) == 0  # it was freed
