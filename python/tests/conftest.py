"""A worker server for the tests, and the environments to test in."""
import os
import pathlib
import re
import subprocess
import sys
import time

import pytest

import vanto
from vanto import lib

MODELS = pathlib.Path(__file__).resolve().parents[2] / "test/models"


def program(name):
    for root in lib._roots():
        for folder in ("bin", "build/bin"):
            if (root / folder / name).is_file():
                return str(root / folder / name)
    pytest.exit(f"{name} is not built")


def eventually(condition, seconds=10):
    """Whether the condition comes to hold in that time."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.05)
    return True


def run_python(text):
    """Runs a program that may import this package, in a process of its own."""
    folder = os.path.dirname(os.path.dirname(vanto.__file__))
    return subprocess.run([sys.executable, "-c", text], timeout=60, capture_output=True, text=True,
                          env={**os.environ, "PYTHONPATH": folder})


class Server:
    """vntworker on a port that the system chose, or at another address."""

    def __init__(self, folder, address="127.0.0.1:0"):
        with open(folder / "log", "w") as log:
            self.process = subprocess.Popen([program("vntworker"), "-address=" + address],
                                            stdout=log, stderr=log, cwd=folder)
        line = re.compile(r"started on (\S+)\n")
        assert eventually(lambda: line.search((folder / "log").read_text()))
        self.address = line.search((folder / "log").read_text())[1]

    def workers(self):
        children = f"/proc/{self.process.pid}/task/{self.process.pid}/children"
        return [int(pid) for pid in pathlib.Path(children).read_text().split()]

    def stop(self):
        self.process.terminate()
        self.process.wait(10)


@pytest.fixture(scope="session")
def server(tmp_path_factory):
    made = Server(tmp_path_factory.mktemp("server"))
    yield made
    made.stop()


@pytest.fixture(params=["here", "worker"])
def place(request):
    """Where an environment lives: None, or a server's address."""
    return None if request.param == "here" else request.getfixturevalue("server").address


@pytest.fixture
def env(place):
    with vanto.Environment(place) as made:
        yield made


@pytest.fixture
def models():
    return MODELS
