// Sound files as a kivcore::frame_reader with one track, of what decoder.h gives. The
// stream operations are about the same samples: one position, in bytes, serves both.
//
// A position lies between 0 and the size; a seek to anywhere else is refused. At a
// position inside a frame, read_frame gives that whole frame from its start, and then
// stands behind it.
//
// Failures are negative errno values, listed in plugin.xml, which is installed. A read that meets
// damage half-way gives what comes before it, and the failure the next time. Counts and sizes that
// the record's 32 bits cannot hold stand there as the largest number.

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include <kivcore/frame_reader.h>

#include "../read_stream.h"
#include "decoder.h"

namespace {

// For the record's 32 bits: a number too large is better shown as the largest than wrapped.
unsigned int saturated(long long count) {
    return static_cast<unsigned int>(std::min<long long>(count, UINT_MAX));
}

class sound_reader final : public kivcore::frame_reader {
  public:
    int open(std::string const& path, std::string const& mode) override;
    int close() override;

    long long read(void* buffer, unsigned long long count) override;
    long long seek(long long offset, morbase::whence origin) override;
    long long tell() override { return sound ? position : -EBADF; }
    long long size() override { return sound ? total_bytes() : -EBADF; }

    unsigned int track_count() override { return sound ? 1 : 0; }
    morbase::ptr_refcount<media_information> track_information(unsigned int track) override;
    int select_track(unsigned int track) override;
    long long tell_frame() override;
    long long seek_frame(long long frame) override;
    long long read_frame(void* buffer, unsigned long long capacity) override;

  private:
    long long total_bytes() const {
        return sound->samples() * (sound->frame_bytes() / sound::decoder::k_frame_samples);
    }
    long long frame_count() const {
        long long const samples = sound->samples();
        long long const each = sound::decoder::k_frame_samples;
        return samples / each + (samples % each != 0 ? 1 : 0);
    }
    // What a read gives at the end: 0, or the damage that the end is owed to.
    int at_end() const { return sound->is_cut() ? -EBADMSG : 0; }

    std::unique_ptr<sound::decoder> sound;  // null while closed
    long long position = 0;
};

int sound_reader::open(std::string const& path, std::string const& mode) {
    int const refused = bundled::refuse_open(sound != nullptr, mode);
    if (refused != 0) {
        return refused;
    }
    position = 0;
    try {
        return sound::decoder::open(path, sound);
    } catch (std::bad_alloc const&) {
        return -ENOMEM;
    }
}

int sound_reader::close() {
    sound.reset();
    return 0;
}

long long sound_reader::read(void* buffer, unsigned long long count) {
    if (!sound) {
        return -EBADF;
    }
    if (position == total_bytes()) {
        return at_end();
    }
    // Frame by frame, as they are decoded: the first and the last may be wanted in part.
    auto const left = static_cast<unsigned long long>(total_bytes() - position);
    auto const wanted = static_cast<long long>(std::min(count, left));
    auto* const target = static_cast<unsigned char*>(buffer);
    long long done = 0;
    while (done < wanted) {
        long long const offset = position % sound->frame_bytes();
        long long const loaded = sound->load(position / sound->frame_bytes());
        if (loaded <= offset) {
            return done > 0 ? done : -EBADMSG;
        }
        long long const moved = std::min(wanted - done, loaded - offset);
        std::memcpy(target + done, sound->data() + offset, static_cast<std::size_t>(moved));
        done += moved;
        position += moved;
    }
    return done;
}

long long sound_reader::seek(long long offset, morbase::whence origin) {
    if (!sound) {
        return -EBADF;
    }
    long long const target = bundled::seek_target_inside(position, total_bytes(), offset, origin);
    if (target >= 0) {
        position = target;
    }
    return target;
}

morbase::ptr_refcount<kivcore::frame_reader::media_information> sound_reader::track_information(
    unsigned int track) {
    if (!sound || track != 0) {
        return nullptr;
    }
    return new audio_media_information(
        sound->container(), saturated(sound->frame_bytes()), saturated(frame_count()),
        sound::decoder::k_frame_samples, saturated(sound->samples()), sound->channels(),
        sound->bits_per_sample(), 0, static_cast<float>(sound->sample_rate()), 0);
}

int sound_reader::select_track(unsigned int track) {
    if (!sound) {
        return -EBADF;
    }
    return track == 0 ? 0 : -EINVAL;
}

long long sound_reader::tell_frame() {
    if (!sound) {
        return -EBADF;
    }
    // The last frame may be short: its end is no multiple.
    return position == total_bytes() ? frame_count() : position / sound->frame_bytes();
}

long long sound_reader::seek_frame(long long frame) {
    if (!sound) {
        return -EBADF;
    }
    if (frame < 0 || frame > frame_count()) {
        return -EINVAL;
    }
    position = frame == frame_count() ? total_bytes() : frame * sound->frame_bytes();
    return frame;
}

long long sound_reader::read_frame(void* buffer, unsigned long long capacity) {
    if (!sound) {
        return -EBADF;
    }
    if (position == total_bytes()) {
        return at_end();
    }
    long long const frame = tell_frame();
    long long const loaded = sound->load(frame);
    if (loaded < 0) {
        return loaded;
    }
    if (static_cast<unsigned long long>(loaded) > capacity) {
        return -ENOBUFS;
    }
    std::memcpy(buffer, sound->data(), static_cast<std::size_t>(loaded));
    seek_frame(frame + 1);
    return loaded;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) kivcore::plugin* sound_create() {
    return new sound_reader;
}
