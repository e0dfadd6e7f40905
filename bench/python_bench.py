"""Measures the Python package, and prints rows as Google Benchmark does.

usage: python_bench.py KIVPLUG     (PYTHONPATH has the package)

Each row and its floor alternate. The ratio is the median of those of the pairs. Times are of the CPU.
"""

import base64
import gzip
import json
import os
import resource
import statistics
import subprocess
import sys
import tempfile
import time

import kivcore
import numpy
import soundfile

ROUNDS = 9
BLOCK = 1 << 18
FRAME = 1024  # samples; the plug-in's


def decompress(source):
    """Reads to the end as kivplug does: block by block, into the same memory."""
    buffer = bytearray(BLOCK)
    with source:
        while source.readinto(buffer):
            pass


def through_kivplug(kivplug, path):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run([kivplug, "read", "io/read/gzip/kivcore/1.0", path, "-o", "/dev/null"],
                   check=True, stderr=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


def timed(work):
    start = time.process_time()
    work()
    return time.process_time() - start


def row(name, measured, floor, count=1):
    """What two functions return, in seconds for so many operations."""
    pairs = [(measured(), floor()) for _ in range(ROUNDS)]
    ns, floor_ns = (statistics.median(each) / count * 1e9 for each in zip(*pairs))
    ratio = statistics.median(one / other for one, other in pairs)
    return {"name": f"python/{name}", "ns": ns, "floor_ns": floor_ns, "ratio": ratio}


def gzip_rows(kivplug, directory):
    """100 MB of text that a compressor makes smaller by a quarter."""
    path = os.path.join(directory, "input.gz")
    with gzip.open(path, "wb", 1) as out:
        out.write(base64.b64encode(os.urandom(75_000_000)))

    def package():
        decompress(kivcore.Registry().open("io/read/gzip/kivcore/1.0", path))
    yield row("gunzip/kivplug", lambda: timed(package), lambda: through_kivplug(kivplug, path))
    yield row("gunzip/gzip_module", lambda: timed(package),
              lambda: timed(lambda: decompress(gzip.open(path))))


def frame_row(directory):
    """20 million samples, in arrays of 1024 x 2."""
    path = os.path.join(directory, "sound.wav")
    samples = numpy.random.default_rng(1).integers(-9999, 9999, (10_000_000, 2), numpy.int16)
    soundfile.write(path, samples, 44100)

    def package():
        with kivcore.Registry().frames("io/read/sound/kivcore/1.0", path) as frames:
            assert sum(map(len, frames)) == len(samples)

    def module():
        assert sum(map(len, soundfile.blocks(path, FRAME, dtype="int16"))) == len(samples)
    return row("wav_frames/soundfile", lambda: timed(package), lambda: timed(module))


def call_row():
    """A read of nothing, beside a call of a method in Python that does nothing."""
    count = 200_000
    source = kivcore.Registry().open("io/read/file/kivcore/1.0", "/dev/null")
    buffer = bytearray()

    class Nothing:
        def readinto(self, buffer):
            return 0

    def calls(call):
        return lambda: timed(lambda: [call(buffer) for _ in range(count)])
    return row("call", calls(source.readinto), calls(Nothing().readinto), count)


with tempfile.TemporaryDirectory() as made:
    rows = [*gzip_rows(sys.argv[1], made), frame_row(made), call_row()]
print(json.dumps({"benchmarks": rows}, indent=2))
