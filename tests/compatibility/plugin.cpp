// A plug-in that only uses what the library offered in version 0.1. It reads every file as three
// frames of four bytes.

#include <algorithm>
#include <cstring>

#include <kivcore/frame_reader.h>

namespace {

constexpr long long k_frames = 3;
constexpr long long k_frame_bytes = 4;

class letters final : public kivcore::frame_reader {
  public:
    int open(std::string const& path, std::string const& mode) override {
        position = 0;
        is_open = !path.empty() && mode == "r";
        return is_open ? 0 : -1;
    }
    int close() override {
        is_open = false;
        return 0;
    }

    long long read(void* buffer, unsigned long long count) override {
        auto const left = static_cast<unsigned long long>(k_frames * k_frame_bytes - position);
        auto const got = static_cast<long long>(std::min(count, left));
        for (long long i = 0; i < got; ++i) {
            static_cast<char*>(buffer)[i] = static_cast<char>('a' + position + i);
        }
        position += got;
        return got;
    }
    long long seek(long long offset, morbase::whence origin) override {
        long long const base = origin == morbase::from_start     ? 0
                               : origin == morbase::from_current ? position
                                                                 : k_frames * k_frame_bytes;
        long long const target = base + offset;
        if (target < 0 || target > k_frames * k_frame_bytes)
            return -1;
        position = target;
        return position;
    }

    unsigned int track_count() override { return is_open ? 1 : 0; }
    morbase::ptr_refcount<media_information> track_information(unsigned int track) override {
        if (track >= track_count())
            return nullptr;
        return new audio_media_information(0x6c707464, k_frame_bytes, k_frames, 1, k_frames, 2, 16,
                                           0, 48000.0F, 0);
    }
    int select_track(unsigned int track) override { return track < track_count() ? 0 : -1; }
    long long tell_frame() override { return position / k_frame_bytes; }
    long long seek_frame(long long frame) override {
        if (frame < 0 || frame > k_frames)
            return -1;
        return seek(frame * k_frame_bytes, morbase::from_start) < 0 ? -1 : frame;
    }
    long long read_frame(void* buffer, unsigned long long capacity) override {
        bool const at_end = position == k_frames * k_frame_bytes;
        return capacity < k_frame_bytes && !at_end ? -1 : read(buffer, k_frame_bytes);
    }

  private:
    bool is_open = false;
    long long position = 0;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) kivcore::plugin* letters_create() {
    return new letters;
}
