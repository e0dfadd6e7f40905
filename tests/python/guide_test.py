"""Runs every program of the guide, in order, and compares what it prints."""

import pathlib
import re
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).parents[2]
GUIDE = (ROOT / "docs" / "python-guide.md").read_text()
BLOCKS = dict(re.findall(r"^```\w+ (\S+)\n(.*?)^```", GUIDE, re.DOTALL | re.MULTILINE))


@pytest.fixture(scope="module")
def directory(tmp_path_factory):
    return tmp_path_factory.mktemp("guide")


def run(directory, *command):
    done = subprocess.run([sys.executable, *command], cwd=directory, timeout=60, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    assert done.returncode == 0, done.stdout
    return done.stdout


@pytest.mark.parametrize("name", [name for name in BLOCKS if name.endswith(".py")])
def test_program(directory, name):
    (directory / name).write_text(BLOCKS[name])
    assert run(directory, name) == BLOCKS.get(name.replace(".py", ".out"), "")


def test_links_lead_somewhere():
    for link in re.findall(r"\]\((?!https?:)([^)#]+)", GUIDE):
        assert (ROOT / "docs" / link).exists(), link


def test_the_waveform_is_a_picture(directory):
    run(directory, ROOT / "examples/python/waveform.py", "chord.wav", "made.png")
    from matplotlib import pyplot
    drawn = pyplot.imread(directory / "made.png")[:, :, :3].min(axis=2) < 0.9
    assert 0.05 < drawn.mean() < 0.95
