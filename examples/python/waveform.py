#!/usr/bin/env python3
"""Draws the waveform of a sound file to a PNG.

usage: waveform.py SOUND PNG
"""

import sys

import kivcore
import matplotlib
import numpy

matplotlib.use("Agg")  # needs no display
from matplotlib import pyplot  # noqa: E402


def envelope(frames):
    """The lowest and the highest sample of each channel in each frame, from -1 to 1."""
    full_scale = 32768 if frames.dtype == numpy.int16 else 1
    extremes = [(frame.min(axis=0), frame.max(axis=0)) for frame in frames]
    if not extremes:
        sys.exit("waveform: the sound has no frames")
    return numpy.array(extremes).transpose(1, 2, 0) / full_scale


def draw(path, picture):
    registry = kivcore.Registry()
    with registry.frames("io/read/sound/.*", path) as frames:
        track = frames.track
        lows, highs = envelope(frames)
    seconds = numpy.arange(lows.shape[1]) * track.samples_per_frame / track.sample_rate
    figure, rows = pyplot.subplots(track.channels, sharex=True, sharey=True, squeeze=False,
                                   figsize=(8, 1 + 1.5 * track.channels), layout="constrained")
    for channel, axes in enumerate(rows[:, 0]):
        axes.fill_between(seconds, lows[channel], highs[channel], step="post")
        axes.set(ylim=(-1, 1), ylabel=f"channel {channel}")
    axes.set_xlabel("seconds")
    figure.savefig(picture, dpi=80)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    draw(*sys.argv[1:])
