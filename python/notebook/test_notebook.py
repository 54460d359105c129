"""The tutorial as a notebook, run by a real kernel: it draws while solves run."""
import json
import pathlib
import subprocess

import pytest

nbclient = pytest.importorskip("nbclient")
nbformat = pytest.importorskip("nbformat")
pytest.importorskip("ipykernel")

folder = pathlib.Path(__file__).resolve().parent


@pytest.fixture(scope="module")
def executed(tmp_path_factory):
    page = folder.parents[1] / "docs/site/python.md"
    text = subprocess.check_output([folder / "make_notebook", page], text=True)
    where = {"metadata": {"path": tmp_path_factory.mktemp("notebook")}}
    notebook = nbformat.from_dict(json.loads(text))
    nbformat.validate(notebook)
    nbclient.NotebookClient(notebook, timeout=120, kernel_name="python3", resources=where).execute()
    return notebook


def outputs(notebook, words):
    cell, = (c for c in notebook.cells if c.cell_type == "code" and words in c.source)
    return [o.get("text") or o["data"] for o in cell.outputs]


def test_the_text_tells_what_the_code_does(executed):
    table, = outputs(executed, "material")
    assert "2600" in table["text/html"]  # 20 of A and 60 of B
    text, = outputs(executed, "an hour more")
    assert "'A': 20.0" in text and "worth 10.0" in text
    text, = outputs(executed, "subprocess.run")
    assert "incumbent" in text


def test_each_live_picture_is_there_once(executed):
    for words in ("start(timelimit=6)", 'attach("knapsack.ticket")\nrun.plot()'):
        kinds = [set(o) for o in outputs(executed, words)]
        assert ["image/png" in k for k in kinds] == [True, False] and "text/html" in kinds[1]
