import os
import signal
import threading
import time

import pytest

import vanto
from conftest import eventually

names = ["p0033.mps", "egout.mps", "afiro.mps", "israel.mps", "woodinfe.mps"]
optima = [3089, 568.1007, -464.7531, -896644.8, None]


def test_results_come_in_order_or_as_they_are_ready(place, models):
    files = [models / n for n in names]
    with vanto.map(files, place, workers=3) as results:
        for result, optimum in zip(results, optima):
            assert result.objective == (optimum and pytest.approx(optimum, rel=1e-5))
    pairs = dict(vanto.map(files, place, workers=3, ordered=False))
    assert sorted(pairs) == [0, 1, 2, 3, 4]
    builders = [lambda env, k=k: env.model([1.0], lb=k) for k in range(20)]
    assert [r.objective for r in vanto.map(builders, place, workers=4)] == list(range(20))


def test_an_error_says_which_model_and_the_rest_goes_on(place, models):
    for ordered in (True, False):
        results = vanto.map([models / "p0033.mps", "/none.mps", models / "egout.mps"], place,
                            workers=1, ordered=ordered)
        assert next(results)
        with pytest.raises(FileNotFoundError) as caught:
            next(results)
        assert caught.value.model_index == 1 and len(list(results)) == 1


def test_whatever_a_function_raises_belongs_to_its_model(place):
    def leaves(env):
        raise SystemExit(3)

    stray = vanto.Environment().model([1])
    sources = [leaves, lambda env: None, stray, 5, lambda env: env.model([1.0], lb=1)]
    results = vanto.map(sources, place, workers=2)
    for kind in (SystemExit, TypeError, TypeError, TypeError):
        with pytest.raises(kind):
            next(results)
    assert next(results).objective == 1
    for wrong, kind in (("a.mps", TypeError), (stray, TypeError)):
        with pytest.raises(kind):
            vanto.map(wrong, place)
    for wrong in ({"workers": 0}, {"patience": -1}):
        with pytest.raises(ValueError):
            vanto.map(sources, place, **wrong)
    with pytest.raises(TypeError):
        vanto.race(sources[-1], [5], place)


def test_an_iterator_that_is_dropped_ends_its_solves(place, models):
    before = threading.active_count()
    for result in vanto.map([models / "p0033.mps"] + [models / "misc07.mps"] * 6, place, workers=2):
        break
    assert eventually(lambda: threading.active_count() <= before), threading.enumerate()


def test_cancel_ends_what_runs(place, models):
    results = vanto.map([models / "misc07.mps"] * 6, place, workers=2)
    threading.Timer(0.5, results.cancel).start()
    begin = time.monotonic()
    list(results)
    assert time.monotonic() - begin < 30


def test_what_lost_workers_had_is_solved_again(server):
    before = set(server.workers())
    slow = [lambda env, k=k: (time.sleep(0.01), env.model([1.0], lb=k))[1] for k in range(300)]
    results = vanto.map(slow, server.address, workers=4, patience=5, retries=10)
    time.sleep(0.5)
    pids = sorted(set(server.workers()) - before)
    for pid, number in zip(pids, (signal.SIGKILL, signal.SIGTERM, signal.SIGSTOP)):
        os.kill(pid, number)
    assert [r.objective for r in results] == list(range(300))


def test_the_first_proof_wins_and_incumbents_are_shared(place, models):
    settings = [{"seed": 1}, {"seed": 2, "cuts": 0}]
    for compete in (vanto.race, vanto.conduct):
        outcome = compete(models / "p0201.mps", settings, place)
        assert outcome.proven and outcome.result.objective == pytest.approx(7615)
        assert len(outcome.results) == 2 and len(outcome.result.values()) == 201
    with vanto.Environment() as env:
        model = env.read(models / "p0033.mps")
        assert vanto.race(model, settings, place).result.objective == pytest.approx(3089)
    with pytest.raises(ValueError):
        vanto.race(models / "p0033.mps", [], place)
