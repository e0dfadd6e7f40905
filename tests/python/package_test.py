import inspect
import os
import subprocess
import sys

import kivcore
import pytest


@pytest.mark.skipif("LD_PRELOAD" in os.environ, reason="mypy is compiled without sanitizers")
def test_types(tmp_path):
    root = os.path.dirname(os.path.dirname(kivcore.__file__))
    # pybind11's classes have a metaclass and constructors that no stub describes.
    (tmp_path / "allowed").write_text(r"kivcore\._kivcore\.[A-Z]\w*(\.__init__)?")
    (tmp_path / "config").write_text(f"[mypy]\ncache_dir = {tmp_path / 'cache'}\nstrict = True\n")
    config = tmp_path / "config"
    for command in (["mypy", "--config-file", config, "-p", "kivcore"],
                    ["mypy.stubtest", "--mypy-config-file", config, "--ignore-unused-allowlist",
                     "--allowlist", tmp_path / "allowed", "kivcore._kivcore"]):
        done = subprocess.run([sys.executable, "-m", *command], cwd=root, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        assert done.returncode == 0, done.stdout


def test_everything_public_has_a_docstring():
    public = [getattr(kivcore, name) for name in kivcore.__all__]
    members = [member for each in public for name, member in vars(each).items()
               if not name.startswith("_") and (callable(member) or isinstance(member, property))]
    assert [each for each in (kivcore, *public, *members) if not inspect.getdoc(each)] == []
