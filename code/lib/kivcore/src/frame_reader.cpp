#include "kivcore/frame_reader.h"

#include <array>

#include <morbase/text.h>

namespace kivcore {

namespace {

// The formats print every integer as a long, which may be wider than int.
unsigned long wide(unsigned int value) {
    return value;
}

}  // namespace

frame_reader::frame_reader() = default;
frame_reader::~frame_reader() = default;

frame_reader::media_information::media_information(media_type kind) noexcept : type(kind) {}
frame_reader::media_information::~media_information() = default;

// The value may come from a plug-in, so it may be unlisted.
char const* frame_reader::media_information::media_type_to_c_str(media_type type) noexcept {
    static constexpr std::array<char const*, 6> k_names = {"Video", "Audio", "Meta",
                                                           "Text",  "Hint",  "INVALID"};
    return type < k_names.size() ? k_names[type] : "";
}

frame_reader::video_media_information::video_media_information(
    unsigned int format, unsigned int frame_bytes, unsigned int frames, float rate,
    morbase::timecode start, unsigned int width, unsigned int height, float aspect_ratio,
    unsigned int fields) noexcept
    : media_information(video),
      track_format(format),
      frame_data_size(frame_bytes),
      number_of_frames(frames),
      framerate(rate),
      start_timecode(start),
      pixel_width(width),
      pixel_height(height),
      pixel_aspect_ratio(aspect_ratio),
      field_order(fields) {}

frame_reader::video_media_information::~video_media_information() = default;

std::string frame_reader::video_media_information::describe() const {
    return morbase::string_with_format(
        "Media Type                  : %s\n"
        "Track Format                : %s\n"
        "Frame Data Size             : %lu\n"
        "Number of Frames            : %lu\n"
        "Framerate                   : %7.3f\n"
        "Start Timecode              : %s\n"
        "Pixel Width                 : %lu\n"
        "Pixel Height                : %lu\n"
        "Pixel AR                    : %6.3f\n"
        "Field Order (TIFO)          : %lu\n",
        media_type_to_c_str(type), morbase::string_with_fourcc(track_format, '.').c_str(),
        wide(frame_data_size), wide(number_of_frames), static_cast<double>(framerate),
        morbase::string_with_timecode(start_timecode, true).c_str(), wide(pixel_width),
        wide(pixel_height), static_cast<double>(pixel_aspect_ratio), wide(field_order));
}

frame_reader::audio_media_information::audio_media_information(
    unsigned int format, unsigned int frame_bytes, unsigned int frames, unsigned int frame_samples,
    unsigned int samples, unsigned int channel_count, unsigned int sample_bits, unsigned int eighth,
    float rate, int offset) noexcept
    : media_information(audio),
      track_format(format),
      frame_data_size(frame_bytes),
      number_of_frames(frames),
      samples_per_frame(frame_samples),
      total_samples(samples),
      channels(channel_count),
      bits_per_sample(sample_bits),
      eighth_value(eighth),
      sample_rate(rate),
      offset_from_video(offset) {}

frame_reader::audio_media_information::~audio_media_information() = default;

std::string frame_reader::audio_media_information::describe() const {
    return morbase::string_with_format(
        "Media Type                  : %s\n"
        "Track Format                : %s\n"
        "Frame Data Size             : %lu\n"
        "Number of Frames            : %lu\n"
        "Samples per Frame           : %lu\n"
        "Total Samples               : %lu\n"
        "Channels                    : %lu\n"
        "Bits per Sample             : %lu\n"
        "Sample Rate                 : %9.1f\n"
        "Offset from video (samples) : %ld\n",
        media_type_to_c_str(type), morbase::string_with_fourcc(track_format, '.').c_str(),
        wide(frame_data_size), wide(number_of_frames), wide(samples_per_frame), wide(total_samples),
        wide(channels), wide(bits_per_sample), static_cast<double>(sample_rate),
        static_cast<long>(offset_from_video));
}

}  // namespace kivcore
