import gzip
import os
import pathlib
import shutil

import kivcore
import pytest

FIXTURES = pathlib.Path(os.environ["KIVCORE_TEST_PLUGINS"])
TEXT = b"one\ntwo\nthree\n" * 10000


@pytest.fixture(scope="session")
def registry():
    return kivcore.Registry()


@pytest.fixture
def text_gz(tmp_path):
    path = tmp_path / "text.gz"
    path.write_bytes(gzip.compress(TEXT))
    return path


@pytest.fixture
def native(tmp_path):
    """A registry of the fixture's plug-in, with the create function of this name."""
    def made(create="native_create", type="read"):
        directory = tmp_path / "plugins" / create
        shutil.copytree(FIXTURES / "native", directory)
        description = directory / "plugin.xml"
        described = description.read_text()
        described = described.replace(">native_create<", f">{create}<")
        description.write_text(described.replace("<type>read<", f"<type>{type}<"))
        return kivcore.Registry(directory)
    return made
