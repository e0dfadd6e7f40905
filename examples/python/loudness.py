#!/usr/bin/env python3
"""Measures the peak and the loudness (RMS) of every sound file below a directory, with Dask.

usage: loudness.py [--scheduler ADDRESS | --workers N] [--plugin ID] DIRECTORY

Prints a line for each file: the peak and the RMS in dB of full scale, and the path. Without a
scheduler, it starts a cluster of processes on this machine; --workers 0 uses this process alone.
Ids and paths are sent to the workers, never sound: the workers need the same plug-ins and the same
paths. Files that cannot be read are reported on standard error, and the exit status is then 1.
"""

import argparse
import contextlib
import math
import os
import sys

import kivcore
import numpy

SUFFIXES = (".wav", ".flac", ".aiff", ".ogg", ".mp3")


def sound_files(directory):
    """The paths of the sound files below a directory, in order."""
    def fail(error):
        raise error
    return sorted(os.path.join(place, name)
                  for place, _, names in os.walk(os.path.abspath(directory), onerror=fail)
                  for name in names if name.lower().endswith(SUFFIXES))


def measured(registry, plugin, path):
    """The peak and the RMS of a file, as fractions of full scale."""
    peak, squares, samples = 0.0, 0.0, 0
    with registry.frames(plugin, path) as frames:
        full_scale = 32768 if frames.dtype == numpy.int16 else 1
        for frame in frames:
            values = frame.astype(numpy.float64) / full_scale
            peak = max(peak, float(abs(values).max()))
            squares += float(numpy.square(values).sum())
            samples += values.size
    return peak, math.sqrt(squares / max(samples, 1))


def measured_or_error(registry, plugin, path):
    """What is measured, or the message of an error."""
    try:
        return measured(registry, plugin, path)
    except (OSError, kivcore.Error) as error:
        return str(error)


def missing_id(plugin):
    """The id, unless this process has the plug-in in this version."""
    return None if plugin in kivcore.Registry().plugins else plugin


def require_plugin(client, plugin):
    """Ends the program if a worker does not have the plug-in in this version."""
    found = client.run(missing_id, plugin)
    if not found:
        sys.exit("loudness: the scheduler has no workers: start one")
    for worker, missing in found.items():
        if missing:
            sys.exit(f"loudness: worker {worker} does not have {missing}: install the same "
                     "plug-ins there")


def distributed_results(arguments, plugin, paths):
    """Measures the files in worker processes. The files of one that dies are measured elsewhere."""
    import distributed

    with contextlib.ExitStack() as opened:
        cluster = arguments.scheduler or opened.enter_context(distributed.LocalCluster(
            n_workers=arguments.workers, threads_per_worker=1, dashboard_address=None))
        client = opened.enter_context(distributed.Client(cluster))
        require_plugin(client, plugin)
        # One registry for each worker, which loads it once.
        registry = client.submit(kivcore.Registry)
        tasks = [client.submit(measured_or_error, registry, plugin, path) for path in paths]
        return client.gather(tasks)


def report(paths, results):
    """Prints the results. Returns how many files could not be measured."""
    def decibels(value):
        return 20 * math.log10(value) if value > 0 else -math.inf
    failures = [each for each in results if isinstance(each, str)]
    for path, result in zip(paths, results):
        if not isinstance(result, str):
            print(f"{decibels(result[0]):8.2f} {decibels(result[1]):8.2f} {path}")
    for message in failures:
        print(f"loudness: {message}", file=sys.stderr)
    return len(failures)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--scheduler", metavar="ADDRESS", help="of a cluster that runs elsewhere")
    parser.add_argument("--workers", type=int, default=os.cpu_count(), metavar="N",
                        help="processes on this machine; 0: this one alone")
    parser.add_argument("--plugin", default="io/read/sound/.*", metavar="ID")
    parser.add_argument("directory")
    arguments = parser.parse_args()
    paths = sound_files(arguments.directory)
    registry = kivcore.Registry()
    plugin, *_ = registry.find(arguments.plugin) or parser.error(
        f"no plug-in matches {arguments.plugin!r}")
    if arguments.scheduler or arguments.workers > 0:
        results = distributed_results(arguments, plugin, paths)
    else:
        results = [measured_or_error(registry, plugin, path) for path in paths]
    sys.exit(1 if report(paths, results) else 0)


if __name__ == "__main__":
    main()
