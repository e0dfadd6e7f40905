// Sound files as a kivcore::frame_reader with one track, which consists of the frames of
// decoder.h. The stream operations read the same samples and share the position, which is in
// bytes.
//
// A position is between 0 and the size; other seeks are refused. If the position is inside a
// frame, read_frame reads that frame from its start and moves to its end.
//
// Failures are negative errno values, listed in plugin.xml, which is installed. A read that
// reaches damage half-way returns the data before it; the next read reports the failure. Counts
// and sizes that do not fit the record's 32 bits are shown as the largest number.

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include <kivcore/frame_reader.h>

#include "decoder.h"
#include "shared/read_stream.h"
#include "shared/stream.h"

namespace sound {

namespace {

// For the record's 32 bits: the largest number is better than one that wraps around.
unsigned int saturated(long long count) {
    return static_cast<unsigned int>(std::min<long long>(count, UINT_MAX));
}

long long divided_up(long long number, long long by) {
    return number / by + (number % by != 0 ? 1 : 0);
}

class sound_reader final : public kivcore::frame_reader {
  public:
    int open(std::string const& path, std::string const& mode) override;
    int close() override;

    long long read(void* buffer, unsigned long long count) override;
    long long seek(long long offset, morbase::whence origin) override;
    long long tell() override { return sound ? position : -EBADF; }
    long long size() override { return sound ? sound->samples() * sample_bytes() : -EBADF; }

    unsigned int track_count() override { return sound ? 1 : 0; }
    morbase::ptr_refcount<media_information> track_information(unsigned int track) override;
    int select_track(unsigned int track) override;
    long long tell_frame() override;
    long long seek_frame(long long frame) override;
    long long read_frame(void* buffer, unsigned long long capacity) override;

  private:
    long long sample_bytes() const { return sound->frame_bytes() / decoder::k_frame_samples; }
    long long known_bytes() const { return sound->known_samples() * sample_bytes(); }

    std::unique_ptr<decoder> sound;  // null while closed
    long long position = 0;
};

int sound_reader::open(std::string const& path, std::string const& mode) {
    int const refused = bundled::refuse_open(sound != nullptr, mode);
    if (refused != 0) {
        return refused;
    }
    position = 0;
    try {
        return decoder::open(path, sound);
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
    // Frame by frame; the first and the last may be read in part.
    auto const wanted = static_cast<long long>(std::min<unsigned long long>(count, LLONG_MAX));
    auto* const target = static_cast<unsigned char*>(buffer);
    long long done = 0;
    while (done < wanted) {
        long long const offset = position % sound->frame_bytes();
        long long const loaded = sound->load(tell_frame());
        if (loaded <= offset) {
            long long const end = loaded > 0 ? -EBADMSG : loaded;
            return done > 0 ? done : end;
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
    long long const target = bundled::seek_target(*this, offset, origin);
    if (target < 0 || !sound->reaches(divided_up(target, sample_bytes()))) {
        return -EINVAL;
    }
    position = target;
    return target;
}

morbase::ptr_refcount<kivcore::frame_reader::media_information> sound_reader::track_information(
    unsigned int track) {
    if (!sound || track != 0) {
        return nullptr;
    }
    long long const samples = sound->samples();
    return new audio_media_information(sound->container(), saturated(sound->frame_bytes()),
                                       saturated(divided_up(samples, decoder::k_frame_samples)),
                                       decoder::k_frame_samples, saturated(samples),
                                       sound->channels(), sound->bits_per_sample(), 0,
                                       static_cast<float>(sound->sample_rate()), 0);
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
    // The last frame may be short, so its end need not be a multiple of the frame's size.
    bool const is_end = position == known_bytes();
    return is_end ? divided_up(position, sound->frame_bytes()) : position / sound->frame_bytes();
}

long long sound_reader::seek_frame(long long frame) {
    if (!sound) {
        return -EBADF;
    }
    // The frame before it, if there is one, must have at least one sample.
    if (frame < 0 || frame > LLONG_MAX / sound->frame_bytes() ||
        !sound->reaches((frame - 1) * decoder::k_frame_samples + 1)) {
        return -EINVAL;
    }
    position = std::min(frame * sound->frame_bytes(), known_bytes());
    return frame;
}

long long sound_reader::read_frame(void* buffer, unsigned long long capacity) {
    if (!sound) {
        return -EBADF;
    }
    long long const frame = tell_frame();
    long long const loaded = sound->load(frame);
    if (loaded <= 0) {
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

}  // namespace sound

extern "C" EXPORTED kivcore::plugin* sound_create() {
    return new sound::sound_reader;
}
