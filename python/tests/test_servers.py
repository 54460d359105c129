"""Servers on Unix-domain sockets, and pools of servers."""
import pytest

import vanto
from conftest import Server


@pytest.fixture
def local(tmp_path):
    (tmp_path / "server").mkdir()
    made = Server(tmp_path / "server", f"unix:{tmp_path}/socket")
    yield made
    made.stop()


def test_a_path_is_an_address_like_any_other(local, models, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    with vanto.Environment("unix:socket") as env:
        assert env.server == local.address
        assert env.read(models / "p0033.mps").solve().objective == pytest.approx(3089)
    run = vanto.Environment("unix:socket").read(models / "p0033.mps").start()
    run.detach("ticket")
    monkeypatch.chdir("/")
    run = vanto.attach(tmp_path / "ticket")
    assert run.model.env.server == local.address
    assert run.result(60).objective == pytest.approx(3089)
    run.model.env.close()


def test_a_pool_stands_for_one_of_its_servers(local, server, models, tmp_path):
    pool = tmp_path / "pool"
    pool.write_text(f"# two\n{local.address}\n127.0.0.1:1\n{server.address}\n")
    envs = [vanto.Environment(f"@{pool}")]
    while len(envs) < 100 and len({env.server for env in envs}) < 2:
        envs.append(vanto.Environment(f"@{pool}"))
    assert {env.server for env in envs} == {local.address, server.address}
    run = envs[0].read(models / "p0033.mps").start()
    run.detach(tmp_path / "ticket")
    assert f"server {envs[0].server}\n".encode() in (tmp_path / "ticket").read_bytes()
    pool.write_text("127.0.0.1:1\n")
    assert vanto.attach(tmp_path / "ticket").result(60).objective == pytest.approx(3089)
    for env in envs:
        env.close()
    with pytest.raises(vanto.Error, match="Connection refused"):
        vanto.Environment(f"@{pool}")
    pool.write_text(f"{local.address}\nhost port\n")
    with pytest.raises(vanto.Error, match="pool:2: 'host port'") as caught:
        vanto.Environment(f"@{pool}")
    assert caught.value.name == "VNTERR_BAD_ARGUMENT"
    pool.write_text(f"{local.address}\n{server.address}\n")
    results = vanto.map([models / "p0033.mps"] * 6, f"@{pool}", workers=3)
    assert [r.objective for r in results] == pytest.approx([3089] * 6)


def test_an_address_that_is_none():
    for server in ("", "127.0.0.1:99999", "a:b", "unix:", 3):
        with pytest.raises(ValueError, match="host:port") as caught:
            vanto.Environment(server)
        assert repr(server) in str(caught.value)
    with pytest.raises(vanto.Error, match="/nowhere: No such file"):
        vanto.Environment("@/nowhere")


def test_a_ticket_with_damage(server, models, tmp_path):
    ticket = tmp_path / "ticket"
    vanto.Environment(server.address).read(models / "p0033.mps").start().detach(ticket)
    whole = ticket.read_bytes()
    for text in (b"", whole[:-1], whole[:40], whole[:-1] + bytes([whole[-1] ^ 1])):
        ticket.write_bytes(text)
        with pytest.raises(ValueError, match="not as detach"):
            vanto.attach(ticket)
    for device in ("/dev/zero", "/dev/null"):
        with pytest.raises(ValueError):
            vanto.attach(device)
    before, _, after = whole.partition(b"\nstarted ")  # of no importance to the worker
    ticket.write_bytes(before + b"\nstarted once" + after[after.index(b"\n"):])
    assert vanto.attach(ticket).result(60).objective == pytest.approx(3089)
