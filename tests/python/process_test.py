"""The ends of objects and of processes. Each test runs a program, which must end without a crash."""

import os
import subprocess
import sys

import numpy
import pytest
import soundfile

PROGRAMS = {
    "objects_are_dropped_in_any_order": """
        import random, kivcore
        shared = kivcore.Registry()
        held = []
        for number in range(333):
            registry = shared if number % 50 else kivcore.Registry()
            held += [registry, registry.open("io/read/file/.*", "/dev/zero"),
                     registry.browse("io/browse/archive/.*", "made.zip"),
                     registry.frames("io/read/sound/.*", "sound.wav")]
            if number % 10 == 0:
                held.append(registry.watch("io/monitor/.*", "."))
        held[7].loop = held  # a cycle, for the collector
        shared = registry = None
        random.Random(1).shuffle(held)
        while len(held) > 1:
            held.pop()
    """,
    "threads_in_calls_at_exit": """
        import threading, time, kivcore
        registry = kivcore.Registry()
        zero = registry.open("io/read/file/.*", "/dev/zero")
        watch = registry.watch("io/monitor/.*", ".")
        def read():
            while True:
                zero.read(1)
        for work in read, read, lambda: next(watch):
            threading.Thread(target=work, daemon=True).start()
        time.sleep(0.05)
    """,
    "calls_in_progress_at_fork": """
        import os, threading, time, kivcore
        registry = kivcore.Registry()
        os.mkfifo("pipe")
        end = os.open("pipe", os.O_RDWR)
        pipe, zero = (registry.open("io/read/file/.*", path) for path in ("pipe", "/dev/zero"))
        reading = threading.Thread(target=pipe.read, args=(1,))
        reading.start()
        time.sleep(0.1)
        child = os.fork()
        if child == 0:
            assert zero.read(1) == b"\\0"
            try:
                pipe.tell()
            except RuntimeError as error:
                os._exit("forked" not in str(error))
            os._exit(2)
        os.write(end, b"x")
        reading.join()
        assert os.waitpid(child, 0)[1] == 0
        assert pipe.closed is False
    """,
}


@pytest.mark.parametrize("name", PROGRAMS)
def test_process(name, tmp_path):
    program = "if True:\n" + PROGRAMS[name]
    (tmp_path / "made.zip").write_bytes(b"PK\5\6" + bytes(18))
    soundfile.write(tmp_path / "sound.wav", numpy.zeros(5000), 8000)
    done = subprocess.run([sys.executable, "-c", program], cwd=tmp_path, timeout=60,
                          stderr=subprocess.PIPE, text=True,
                          env={**os.environ, "PYTHONWARNINGS": "error"})
    assert (done.returncode, done.stderr) == (0, "")
