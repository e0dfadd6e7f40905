import gzip
import io
import os
import pickle
import shutil
import tarfile
import threading
import zipfile

import pytest

from conftest import TEXT

GZIP, PLAIN = "io/read/gzip/.*", "io/read/file/.*"


def copied(raw):
    target = io.BytesIO()
    shutil.copyfileobj(raw, target)
    return target.getvalue()


def read_together(raw):
    """Eight threads share the reader."""
    pieces = []

    def read():
        while piece := raw.read(1000):
            pieces.append(piece)
    threads = [threading.Thread(target=read) for _ in range(8)]
    for each in threads:
        each.start()
    for each in threads:
        each.join()
    return b"".join(pieces)


@pytest.mark.parametrize("read", [
    lambda raw: raw.read(), copied, lambda raw: io.BufferedReader(raw).read(),
    lambda raw: io.TextIOWrapper(raw).read().encode(), lambda raw: b"".join(io.BufferedReader(raw)),
])
def test_a_reader_is_a_raw_stream(registry, text_gz, read):
    assert read(registry.open(GZIP, text_gz, "rb")) == TEXT


def test_threads_that_share_a_reader_take_turns(registry, text_gz):
    assert sorted(read_together(registry.open(GZIP, text_gz))) == sorted(TEXT)


def test_archives_can_be_read_through_a_reader(registry, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "a").write_bytes(TEXT)
    for kind in "tar", "zip":
        shutil.make_archive("made", kind, ".", "a")
    with tarfile.open(fileobj=registry.open(PLAIN, "made.tar")) as archive:
        assert archive.extractfile("a").read() == TEXT
    with zipfile.ZipFile(registry.open(PLAIN, "made.zip")) as archive:
        assert archive.read("a") == TEXT


def test_what_is_written_can_be_read(registry, tmp_path):
    path = tmp_path / os.fsdecode(b"\xff.gz")
    with io.BufferedWriter(registry.open("io/write/gzip/.*", path, "w")) as out:
        out.write(TEXT)
    assert gzip.decompress(path.read_bytes()) == TEXT
    with registry.open(GZIP, path) as raw:
        assert raw.name == str(path) and raw.size() == len(TEXT)


def test_files_are_one_stream(registry, tmp_path):
    for number, text in enumerate(("one", "three", "")):
        (tmp_path / f"part.{number}").write_text(text)
    with registry.files("io/read/sequence/.*", tmp_path / "part.#") as files:
        assert [each.size for each in files.files] == [3, 5, 0]
        files.select_file(1)
        assert (files.current_file, files.read(2)) == (1, b"th")
        with pytest.raises(IndexError, match="no file -1 among the 3"):
            files.select_file(-1)
        assert pickle.loads(pickle.dumps(files)).read() == b"ree"


@pytest.mark.parametrize("call, type, message", [
    (lambda r, raw: r.open(PLAIN, "/missing"), FileNotFoundError,
     r"\[Errno 2\] .*io/read/file/kivcore/1.0: open with mode 'r'.*: '/missing'"),
    (lambda r, raw: r.open(PLAIN, "/"), IsADirectoryError, "'/'"),
    (lambda r, raw: r.open(PLAIN, "a\0b"), ValueError, "embedded null"),
    (lambda r, raw: r.open(PLAIN, raw.name, 1), TypeError, "mode must be a str"),
    (lambda r, raw: r.open(PLAIN, raw.name, "w"), OSError, "Invalid argument.* mode 'w'"),
    (lambda r, raw: r.open(1, raw.name), TypeError, "id must be a str"),
    (lambda r, raw: r.open("io/browse/.*", raw.name), TypeError,
     "is a browser, not a reader or writer; use registry.browse"),
    (lambda r, raw: r.files(PLAIN, raw.name), TypeError, "is a reader, not a multi_file_reader"),
    (lambda r, raw: raw.readinto(b"four"), TypeError, "writable and contiguous"),
    (lambda r, raw: raw.readinto(memoryview(bytearray(4))[::2]), TypeError, "contiguous"),
    (lambda r, raw: raw.write(b"four"), io.UnsupportedOperation, "not writable"),
    (lambda r, raw: raw.seek(-1), OSError, "Invalid argument.*seek"),
    (lambda r, raw: raw.seek(0, 7), ValueError, "whence"),
    (lambda r, raw: raw.seek(1 << 63), OverflowError, "64 bits"),
    (lambda r, raw: (raw.close(), raw.close(), raw.read(1)), ValueError, "closed"),
    (lambda r, raw: pickle.dumps(r.open("io/write/file/.*", raw.name, "a")), TypeError, "pickle"),
])
def test_bad_input_raises(registry, text_gz, call, type, message):
    with pytest.raises(type, match=message):
        call(registry, registry.open(GZIP, text_gz))


def test_damage_comes_after_the_data_before_it(registry, text_gz):
    text_gz.write_bytes(text_gz.read_bytes()[:-4])
    raw = registry.open(GZIP, text_gz)
    assert raw.readinto(bytearray(len(TEXT))) == len(TEXT)
    with pytest.raises(OSError, match=f"Bad message.*: '{text_gz}'"):
        raw.read(1)


def test_a_reader_pickles_as_a_recipe(registry, text_gz):
    raw = registry.open(GZIP, text_gz)
    raw.seek(5)
    again = pickle.loads(pickle.dumps(raw))
    assert (again.tell(), again.read()) == (5, TEXT[5:])
    raw.close()
    assert pickle.loads(pickle.dumps(raw)).closed
