"""Runs examples/python/loudness.py on one process and on clusters that go wrong."""

import os
import pathlib
import subprocess
import sys

import numpy
import pytest
import soundfile

from conftest import FIXTURES

EXAMPLES = pathlib.Path(__file__).parents[2] / "examples" / "python"

pytestmark = pytest.mark.skipif("LD_PRELOAD" in os.environ, reason="a cluster takes too long")

# The first worker that measures 3.wav dies.
DYING = """
import os, loudness
real = loudness.measured_or_error

def dying(registry, plugin, path):
    if path.endswith("3.wav") and not os.path.exists("died"):
        open("died", "w").close()
        os._exit(1)
    return real(registry, plugin, path)

if __name__ == "__main__":
    loudness.measured_or_error = dying
    loudness.main()
"""

# The workers have other plug-ins than the client.
DIFFERENT = """
import os, subprocess, sys, distributed

if __name__ == "__main__":
    client = dict(os.environ)
    os.environ["KIVPLUG_PATH"] = sys.argv[2]
    with distributed.LocalCluster(n_workers=1, dashboard_address=None) as cluster:
        address = ["--scheduler", cluster.scheduler_address]
        sys.exit(subprocess.run([sys.executable, sys.argv[1], *address, "."], env=client).returncode)
"""


@pytest.fixture
def run(tmp_path):
    """Runs a program, and returns its status, its output and its messages."""
    (tmp_path / "sounds").mkdir()
    for number in range(8):
        samples = numpy.full(3000, 1000 * (number + 1), numpy.int16)
        soundfile.write(tmp_path / "sounds" / f"{number}.wav", samples, 8000)
    (tmp_path / "sounds" / "broken.wav").write_bytes(b"RIFF")
    path = os.pathsep.join([str(EXAMPLES), os.environ["PYTHONPATH"]])

    def run(*arguments):
        done = subprocess.run([sys.executable, *arguments], cwd=tmp_path, text=True, timeout=120,
                              capture_output=True, env={**os.environ, "PYTHONPATH": path})
        return done.returncode, done.stdout, done.stderr
    return run


def test_a_dying_worker_changes_nothing(run, tmp_path):
    status, serial, messages = run(EXAMPLES / "loudness.py", "--workers", "0", "sounds")
    assert status == 1 and serial.count("\n") == 8 and f"'{tmp_path}/sounds/broken.wav'" in messages
    assert serial.startswith("  -30.31   -30.31 ")  # 1000 of 32768
    (tmp_path / "dying.py").write_text(DYING)
    assert run("dying.py", "--workers", "2", "sounds")[:2] == (1, serial)
    assert (tmp_path / "died").exists()


def test_a_worker_without_the_plugin_is_named(run, tmp_path):
    (tmp_path / "different.py").write_text(DIFFERENT)
    status, output, messages = run("different.py", EXAMPLES / "loudness.py", FIXTURES / "native")
    assert (status, output) == (1, "")
    assert "does not have io/read/sound/kivcore/1.0: install the same plug-ins" in messages
