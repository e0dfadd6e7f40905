import itertools

import kivcore
import numpy
import pytest
import soundfile

SOUND = "io/read/sound/.*"


@pytest.fixture
def samples():
    return (numpy.sin(numpy.arange(5000) / 9) * 20000).astype(numpy.int16).reshape(-1, 2)


@pytest.fixture
def frames(registry, samples, tmp_path):
    soundfile.write(tmp_path / "sound.wav", samples, 8000)
    with registry.frames(SOUND, tmp_path / "sound.wav") as frames:
        yield frames


def test_frames_are_arrays_of_samples(frames, samples):
    assert frames.track == kivcore.AudioTrack(
        0, "Audio", frames.track.description, "WAVE", 4096, 3, 1024, 2500, 2, 16, 8000.0, 0)
    assert (numpy.concatenate(list(frames)) == samples).all()
    assert [each.shape for each in frames[::-1]] == [(452, 2), (1024, 2), (1024, 2)]
    assert frames[-1].dtype == frames.dtype == numpy.int16
    for first, second in itertools.zip_longest(frames, frames):  # each loop has its own position
        assert (first == second).all()


def test_finer_samples_are_floats(registry, samples, tmp_path):
    soundfile.write(tmp_path / "sound.wav", samples, 8000, "PCM_24")
    read = numpy.concatenate(list(registry.frames(SOUND, tmp_path / "sound.wav")))
    assert read.dtype == numpy.float32 and (read * 32768 == samples).all()


@pytest.mark.parametrize("call, type, message", [
    (lambda r, f: f[3], IndexError, "no frame 3"),
    (lambda r, f: f[-4], IndexError, "no frame -4"),
    (lambda r, f: r.frames(SOUND, f.path, -1), IndexError, "no track -1 among the 1"),
    (lambda r, f: r.frames(SOUND, "/missing"), FileNotFoundError, "/missing"),
    (lambda r, f: r.frames("io/read/file/.*", f.path), TypeError, "not a frame_reader"),
    (lambda r, f: list(r.frames(SOUND, f.path, dtype="V7")), OSError, "not whole samples"),
    (lambda r, f: r.frames(SOUND, f.path, dtype=object), ValueError, "cannot be arrays"),
    (lambda r, f: (f.close(), f[0]), ValueError, "closed"),
])
def test_bad_input_raises(registry, frames, call, type, message):
    with pytest.raises(type, match=message):
        call(registry, frames)
