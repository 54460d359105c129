import asyncio
import json
import subprocess
import time

import pytest

import vanto
from conftest import eventually, program, run_python


def test_a_run_tells_pauses_goes_on_and_stops(env, models):
    run = env.read(models / "misc07.mps").start()
    told = run.progress()
    next(told)
    with pytest.raises(vanto.Error) as caught:
        env.model()
    assert caught.value.name == "VNTERR_SOLVING"
    run.pause()
    assert eventually(lambda: run.state == "paused")
    work = run.history[-1].iterations
    time.sleep(0.3)
    assert run.history[-1].iterations <= work + 5000 and run.state == "paused"
    with pytest.raises(TimeoutError):
        run.result(0.05)
    run.resume()
    assert eventually(lambda: run.state != "paused")
    run.set_limits(seconds=0.2)
    assert eventually(lambda: run.state == "paused")
    run.inject(2810)  # the optimum: nothing better is there
    run.resume()
    run.stop()
    result = run.result(30)
    assert result.status in (vanto.Status.STOPPED, vanto.Status.CUTOFF)
    assert run.state == "ended" and list(run.progress()) == result.history
    assert all(a.seconds <= b.seconds for a, b in zip(result.history, result.history[1:]))
    assert {p.event for p in result.history} <= {"incumbent", "bound", "progress"}


def test_parameters_of_a_solve_are_its_own(env, models):
    model = env.read(models / "misc07.mps")
    assert model.solve(nodelimit=1, presolve=0).status == vanto.Status.NODE_LIMIT
    assert env.params.nodelimit > 1e9 and env.params.presolve == 1


def test_runs_in_asyncio_leave_the_loop_free(place, models):
    async def one(env):
        run = env.read(models / "p0033.mps").start()
        events = [p async for p in run]
        return events, await run

    async def many():
        gaps, last = [], time.monotonic()

        async def tick():
            nonlocal last
            while True:
                await asyncio.sleep(0.01)
                gaps.append(time.monotonic() - last)
                last = time.monotonic()

        ticking = asyncio.create_task(tick())
        envs = [vanto.Environment(place) for _ in range(6)]
        outcomes = await asyncio.gather(*(one(e) for e in envs))
        ticking.cancel()
        for e in envs:
            e.close()
        return outcomes, gaps

    outcomes, gaps = asyncio.run(many())
    assert all(result.objective == pytest.approx(3089) for _, result in outcomes)
    assert gaps


def test_messages_reach_the_log(env, models, caplog):
    with caplog.at_level("DEBUG", logger="vanto"):
        env.read(models / "p0033.mps").solve()
    assert caplog.messages


def test_a_solve_that_was_left_is_taken_up_by_another_process(server, models, tmp_path):
    ticket = tmp_path / "ticket"
    run_python(f"""
import vanto
env = vanto.Environment({server.address!r}, log_level=2)
run = env.read({str(models / 'p0201.mps')!r}).start()
run.detach({str(ticket)!r})
assert run.state == "detached" and env.closed
""").check_returncode()
    assert oct(ticket.stat().st_mode)[-3:] == "600"
    run = vanto.attach(ticket)
    with pytest.raises(vanto.Error) as caught:
        vanto.attach(ticket, connect_timeout=0.3)  # one client at a time
    assert caught.value.name == "VNTERR_REMOTE"
    result = run.result(60)
    assert result.objective == pytest.approx(7615) and result.seconds > 0
    assert not ticket.exists() and run.model.column_names[0] in result.values()
    run.model.env.close()


def test_what_is_no_ticket_and_who_may_not_leave(server, models, tmp_path):
    with pytest.raises(FileNotFoundError):
        vanto.attach(tmp_path / "none")
    env = vanto.Environment(server.address)
    run = env.read(models / "misc07.mps").start()
    with pytest.raises(FileNotFoundError):
        run.detach(tmp_path / "no/such/folder")
    assert run.state == "running"  # nothing is lost
    run.detach(tmp_path / "ticket")
    text = (tmp_path / "ticket").read_bytes()
    (tmp_path / "ticket").write_bytes(text[:-1] + b"?")
    with pytest.raises(ValueError, match="ticket"):
        vanto.attach(tmp_path / "ticket")
    (tmp_path / "ticket").write_bytes(text)
    run = vanto.attach(tmp_path / "ticket")
    run.stop()
    run.result(30)
    run.model.env.close()
    with vanto.Environment() as here:
        run = here.read(models / "misc07.mps").start()
        with pytest.raises(vanto.Error, match="worker"):
            run.detach(tmp_path / "ticket")
        run.stop()


def test_tickets_are_those_of_vntsolve(server, models, tmp_path):
    ticket = str(tmp_path / "ticket")
    vntsolve, model = program("vntsolve"), str(models / "p0201.mps")
    subprocess.run([vntsolve, model, "--server", server.address, "--detach", ticket, "--quiet"],
                   check=True, timeout=60)
    run = vanto.attach(ticket)
    assert run.result(60).objective == pytest.approx(7615)
    run.model.env.close()
    run = vanto.Environment(server.address).read(model).start()
    run.detach(ticket)
    told = subprocess.run([vntsolve, "--attach", ticket, "--json"], check=True, timeout=60,
                          capture_output=True, text=True)
    assert json.loads(told.stdout)["objective"] == pytest.approx(7615)
