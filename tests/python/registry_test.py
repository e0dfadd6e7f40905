import os
import pickle
import shutil

import kivcore
import pytest

from conftest import FIXTURES


def test_installed_plugins_are_the_default(registry, monkeypatch):
    assert "io/read/gzip/kivcore/1.0" in registry.plugins
    assert registry.find("io/read/gz(ip)?/.*") == ["io/read/gz/kivcore/1.0",
                                                   "io/read/gzip/kivcore/1.0"]
    assert registry.describe("io/read/gzip/.*")["info.name"] == "Gzip reader"
    monkeypatch.setenv("KIVPLUG_PATH", f":{FIXTURES / 'native'}")
    assert kivcore.Registry().directories == (str(FIXTURES / "native"),)


def test_a_report_says_what_became_of_each_directory(tmp_path):
    shutil.copytree(FIXTURES / "native", tmp_path / "native")
    (tmp_path / "broken").mkdir()
    (tmp_path / "broken" / "plugin.xml").write_text("<plugin>")
    (tmp_path / "file").touch()
    with pytest.warns(kivcore.LoadWarning, match="broken/plugin.xml:1:9: "):
        registry = kivcore.Registry(tmp_path)
    report, = registry.reports
    assert report.loaded == {str(tmp_path / "native"): ("io/read/native/tests/1.0",
                                                        "io/read/text/tests/1.0")}
    assert list(report.failed) == [str(tmp_path / "broken")]
    assert list(report.passed_over) == [str(tmp_path / "file")]
    assert "not registered" in registry.load(FIXTURES / "native").refused["io/read/native/tests/1.0"]


def test_a_registry_pickles_as_its_directories(registry):
    own = kivcore.Registry(os.path.relpath(FIXTURES / "native"))
    own.load(registry.directories[0])
    again = pickle.loads(pickle.dumps(own))
    assert again.directories == own.directories
    assert pickle.loads(pickle.dumps(own)) is again  # readers share it
    assert pickle.loads(pickle.dumps(registry)).directories == registry.directories


@pytest.mark.parametrize("call, type, message", [
    (lambda r: kivcore.Registry("/missing"), FileNotFoundError, "/missing"),
    (lambda r: kivcore.Registry(__file__), NotADirectoryError, __file__),
    (lambda r: r.describe("io/read/gzp/kivcore/1.0"), KeyError,
     "nearest ids are io/read/gzip/kivcore/1.0"),
    (lambda r: r.find(7), TypeError, "pattern must be a str"),
    (lambda r: r.find("\0"), ValueError, "embedded null"),
])
def test_bad_input_raises(registry, call, type, message):
    with pytest.raises(type, match=message):
        call(registry)


@pytest.mark.parametrize("create, type, message", [
    ("native_missing", kivcore.MissingError, "create: couldn't find"),
    ("native_create_nothing", kivcore.Error, "makes no objects"),
    ("native_create_throwing", kivcore.PluginError, "create: the device is busy"),
    ("native_create_throwing_silently", kivcore.PluginError, "without a text"),
    ("native_create_throwing_number", kivcore.PluginError, "not an exception"),
])
def test_what_a_plugin_throws_becomes_an_error(native, create, type, message):
    with pytest.raises(type, match=message):
        native(create).open("io/read/native/.*", "x")


def test_results_without_an_errno_are_reported_too(native):
    with pytest.raises(kivcore.ResultError, match="seek failed with result -1: 'x'"):
        native().open("io/read/native/.*", "x").seek(99)
    with pytest.raises(kivcore.PluginError, match="read: .*not an exception"):
        native("native_create_failing_reader").open("io/read/native/.*", "throw").read(1)
