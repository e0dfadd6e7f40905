// The input is a sound file. Its first frames are read in order, and then again after seeks. Each
// frame must be the same both times, or a failure.

#include <algorithm>
#include <memory>
#include <string>

#include <kivcore/kivcore.h>
#include <support/files.h>

#include "input.h"

extern "C" kivcore::plugin* sound_create();  // exported by the plug-in

namespace {

using kivcore::frame_reader;

constexpr std::size_t k_most_frames = 40;

// Empty at the end and on failure.
std::string read_frame(frame_reader& sound, std::string& space) {
    long long const count = sound.read_frame(space.data(), space.size());
    return space.substr(0, static_cast<std::size_t>(std::max(count, 0LL)));
}

std::vector<std::string> read_in_order(frame_reader& sound, std::string& space) {
    std::vector<std::string> frames;
    std::string frame;
    while (frames.size() < k_most_frames && !(frame = read_frame(sound, space)).empty()) {
        frames.push_back(frame);
    }
    return frames;
}

void read_by_seeking(frame_reader& sound, std::string& space,
                     std::vector<std::string> const& frames) {
    for (std::size_t step = 0; step < frames.size(); ++step) {
        std::size_t const wanted = (step * step + 7 * step + 3) % frames.size();
        fuzz::require(sound.seek_frame(static_cast<long long>(wanted)) >= 0,
                      "a seek to a frame that was read succeeds");
        std::string const again = read_frame(sound, space);
        fuzz::require(again.empty() || again == frames[wanted],
                      "a frame is the same in order and after a seek");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    support::temporary_directory const directory;
    std::string const path = directory.write("sound", fuzz::text_of(data, size));
    morbase::ptr_refcount<kivcore::plugin> const made(sound_create());
    auto& sound = dynamic_cast<frame_reader&>(*made);
    if (sound.open(path, "r") != 0) {
        return 0;
    }
    auto const track = sound.track_information(0);
    auto const& record = dynamic_cast<frame_reader::audio_media_information const&>(*track);
    std::string space(record.frame_data_size, '\0');
    std::vector<std::string> const frames = read_in_order(sound, space);
    if (!frames.empty()) {
        read_by_seeking(sound, space, frames);
    }
    sound.seek(-1, morbase::from_end);
    sound.read(space.data(), space.size());
    return 0;
}
