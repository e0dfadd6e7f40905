import signal
import threading

import kivcore
import pytest

WATCH = "io/monitor/.*"


def test_changes_come_until_nothing_happens(registry, tmp_path):
    with registry.watch(WATCH, tmp_path, timeout=0) as watch:
        (tmp_path / "new").mkdir()
        assert list(watch) == [kivcore.Event("created", str(tmp_path / "new"))]
        (tmp_path / "new").rmdir()
        assert list(watch) == [kivcore.Event("removed", str(tmp_path / "new"))]
    assert list(watch) == []


def test_a_watch_ends_with_what_it_watches(registry, tmp_path):
    (tmp_path / "watched").mkdir()
    watch = registry.watch(WATCH, tmp_path / "watched")
    (tmp_path / "watched").rmdir()
    assert list(watch) == [] and watch.ended


def test_another_thread_can_end_a_watch(registry, tmp_path):
    watch = registry.watch(WATCH, tmp_path)
    threading.Timer(0.01, watch.close).start()
    assert list(watch) == []


def test_ctrl_c_ends_the_wait(registry, tmp_path):
    watch = registry.watch(WATCH, tmp_path)
    main = threading.main_thread().ident
    threading.Timer(0.01, signal.pthread_kill, (main, signal.SIGINT)).start()
    with pytest.raises(KeyboardInterrupt):
        next(watch)


def test_logged_lines_go_to_logging(native, caplog):
    watch = native("native_create_monitor", "monitor").watch(".*", "/x")
    assert list(watch) == [] and watch.ended
    assert caplog.record_tuples == [("kivcore", 30, "\x1b[31mloss of /x")]


@pytest.mark.parametrize("call, type", [
    (lambda r: r.watch(WATCH, "/missing"), FileNotFoundError),
    (lambda r: r.watch(WATCH, "/tmp", timeout=-1), ValueError),
    (lambda r: r.watch("io/read/file/.*", "/tmp"), TypeError),
])
def test_bad_input_raises(registry, call, type):
    with pytest.raises(type):
        call(registry)
