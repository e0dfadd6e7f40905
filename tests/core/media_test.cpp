#include <string>

#include <gtest/gtest.h>

#include <kivcore/frame_reader.h>

namespace {

using kivcore::frame_reader;
using information = frame_reader::media_information;

TEST(media_type, every_value_has_a_name_and_other_numbers_have_none) {
    char const* const names[] = {"Video", "Audio", "Meta", "Text", "Hint", "INVALID", "", ""};
    for (unsigned int value = 0; value < std::size(names); ++value) {
        EXPECT_STREQ(information::media_type_to_c_str(static_cast<information::media_type>(value)),
                     names[value]);
    }
    EXPECT_STREQ(information::media_type_to_c_str(static_cast<information::media_type>(~0U)), "");
}

TEST(video_information, prints_ten_lines) {
    frame_reader::video_media_information const record(0x61766331U, 4294967295U, 1000, 25.0F,
                                                       {10, 0, 0, 7, true}, 1920, 1080, 1.0F, 2);
    EXPECT_EQ(record.describe(),
              "Media Type                  : Video\n"
              "Track Format                : avc1\n"
              "Frame Data Size             : 4294967295\n"
              "Number of Frames            : 1000\n"
              "Framerate                   :  25.000\n"
              "Start Timecode              : 10:00:00;07\n"
              "Pixel Width                 : 1920\n"
              "Pixel Height                : 1080\n"
              "Pixel AR                    :  1.000\n"
              "Field Order (TIFO)          : 2\n");
}

TEST(audio_information, prints_ten_lines_and_not_the_reserved_value) {
    for (unsigned int const reserved : {0U, ~0U}) {
        frame_reader::audio_media_information const record(0x01747773U, 7680, 250, 1920, 480000, 2,
                                                           16, reserved, 48000.0F, -2147483647 - 1);
        EXPECT_EQ(record.describe(),
                  "Media Type                  : Audio\n"
                  "Track Format                : .tws\n"
                  "Frame Data Size             : 7680\n"
                  "Number of Frames            : 250\n"
                  "Samples per Frame           : 1920\n"
                  "Total Samples               : 480000\n"
                  "Channels                    : 2\n"
                  "Bits per Sample             : 16\n"
                  "Sample Rate                 :   48000.0\n"
                  "Offset from video (samples) : -2147483648\n");
    }
}

}  // namespace
