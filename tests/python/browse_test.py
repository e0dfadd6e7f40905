import datetime
import shutil

import pytest

ARCHIVE = "io/browse/zip/.*"


@pytest.fixture
def archive(tmp_path):
    (tmp_path / "top" / "below").mkdir(parents=True)
    (tmp_path / "top" / "below" / "7").write_text("seven")
    return shutil.make_archive(tmp_path / "made", "gztar", tmp_path, "top")


def test_walk_visits_everything(registry, archive):
    found = list(registry.browse(ARCHIVE, archive).walk())
    assert [(each.name, each.is_dir) for each in found] == [
        ("top", True), ("below", True), ("7", False)]
    info = found[2].info
    assert (info["name"], info["size"]) == ("7", 5)
    age = datetime.datetime.now(datetime.timezone.utc) - info["modified"]
    assert age < datetime.timedelta(days=1)
    assert [each.name for each in found[0]] == ["below"]
    with found[2].open() as file:
        assert file.read() == b"seven"
    with pytest.raises(IsADirectoryError):
        found[0].open()
    with pytest.raises(NotADirectoryError):
        list(found[2])


def test_a_damaged_archive_raises_after_its_intact_entries(registry, archive, tmp_path):
    cut = tmp_path / "cut.tar"
    with registry.open("io/read/gzip/.*", archive) as whole:
        data = whole.read()
    cut.write_bytes(data[:data.index(b"seven") + 512])  # without the end of the archive
    walk = registry.browse(ARCHIVE, cut).walk()
    assert [next(walk).name for _ in range(3)] == ["top", "below", "7"]
    with pytest.raises(OSError, match="not listed whole"):
        next(walk)


def test_a_file_opens_through_the_reader_that_is_named(registry, archive):
    found = list(registry.browse(ARCHIVE, archive, reader="io/read/file/.*").walk())
    with pytest.raises(FileNotFoundError, match="io/read/file/kivcore/1.0"):
        found[2].open()


@pytest.mark.parametrize("path, type", [
    ("/missing", FileNotFoundError), ("/dev/null", NotADirectoryError), ("", ValueError),
])
def test_bad_input_raises(registry, path, type):
    with pytest.raises(type):
        registry.browse(ARCHIVE, path)
