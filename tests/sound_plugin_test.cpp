#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <sndfile.h>

#include <kivcore/kivcore.h>
#include <morbase/text.h>
#include <support/bundled.h>
#include <support/files.h>

namespace {

using kivcore::frame_reader;
using namespace std::string_literals;
using support::failure;
using support::sample;
using support::take;
using support::take_all;
using audio = frame_reader::audio_media_information;

constexpr int k_wav_16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
constexpr int k_flac_16 = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;

struct close_sound {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

struct sound_plugin : testing::Test {
    // A file with these samples of 16 bits, its path.
    std::string make(int format, int channels, std::string const& samples) const {
        std::string path = directory.path("sound");
        SF_INFO facts = {0, 44100, channels, format, 0, 0};
        std::unique_ptr<SNDFILE, close_sound> const file(sf_open(path.c_str(), SFM_WRITE, &facts));
        EXPECT_TRUE(file) << sf_strerror(nullptr);
        auto const count = static_cast<sf_count_t>(samples.size() / 2);
        auto const* const first = reinterpret_cast<short const*>(samples.data());
        EXPECT_EQ(sf_write_short(file.get(), first, count), count);
        return path;
    }

    // The same, opened.
    void open(int format, int channels, std::string const& samples) const {
        ASSERT_EQ(reader->open(make(format, channels, samples), "r"), 0);
    }

    void open_bytes(std::string const& content) const {
        ASSERT_EQ(reader->open(directory.write("bytes", content), "r"), 0);
    }

    std::string take_frames() const {
        std::string all;
        std::string frame(65536, '\0');
        long long count = 0;
        while ((count = reader->read_frame(frame.data(), frame.size())) > 0) {
            all.append(frame, 0, static_cast<std::size_t>(count));
        }
        return count < 0 ? all + "!" + std::to_string(count) : all;
    }

    support::temporary_directory directory;
    kivcore::instance<frame_reader> reader = support::bundled<frame_reader>("read", "sound");
};

TEST_F(sound_plugin, describes_its_one_track) {
    EXPECT_EQ(reader->track_count(), 0U);
    EXPECT_FALSE(reader->track_information(0));
    EXPECT_EQ(reader->select_track(0), -EBADF);
    open(k_wav_16, 2, sample(10000));
    EXPECT_EQ(reader->track_count(), 1U);
    EXPECT_EQ(reader->track_information(0)->describe(),
              "Media Type                  : Audio\n"
              "Track Format                : WAVE\n"
              "Frame Data Size             : 4096\n"
              "Number of Frames            : 3\n"
              "Samples per Frame           : 1024\n"
              "Total Samples               : 2500\n"
              "Channels                    : 2\n"
              "Bits per Sample             : 16\n"
              "Sample Rate                 :   44100.0\n"
              "Offset from video (samples) : 0\n");
    EXPECT_FALSE(reader->track_information(1));
    EXPECT_EQ(reader->select_track(0), 0);
    EXPECT_EQ(reader->select_track(1), -EINVAL);
}

TEST_F(sound_plugin, names_the_container_and_keeps_what_the_encoding_holds) {
    struct {
        char const* track_format;
        int format;
        unsigned int bits;
    } const expected[] = {
        {"WAVE", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 16},
        {"WAVE", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 32},
        {"AU  ", SF_FORMAT_AU | SF_FORMAT_ULAW, 16},
        {"AIFF", SF_FORMAT_AIFF | SF_FORMAT_PCM_32, 32},
        {"W64 ", SF_FORMAT_W64 | SF_FORMAT_DOUBLE, 32},
        {"FLAC", k_flac_16, 16},
        {"FLAC", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 32},
        {"OGG ", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 32},
    };
    for (auto const& row : expected) {
        SCOPED_TRACE(row.track_format + std::to_string(row.format));
        open(row.format, 1, sample(6000));
        auto const track = reader->track_information(0);
        auto const* record = dynamic_cast<audio const*>(track.get());
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(morbase::string_with_fourcc(record->track_format, '.'), row.track_format);
        EXPECT_EQ(record->bits_per_sample, row.bits);
        EXPECT_EQ(record->total_samples, 3000U);
        EXPECT_EQ(take_all(*reader).size(), 3000 * row.bits / 8);
        EXPECT_EQ(reader->close(), 0);
    }
}

TEST_F(sound_plugin, gives_the_same_samples_by_frames_and_by_bytes) {
    auto const samples = sample(15000);
    open(k_flac_16, 3, samples);
    EXPECT_TRUE(take_frames() == samples);
    for (std::size_t const portion : {777U, 1000000U}) {
        EXPECT_EQ(reader->seek(0, morbase::from_start), 0);
        EXPECT_TRUE(take_all(*reader, portion) == samples) << portion;
    }
    reader->close();
    open(SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, "\0\0\0\x40\0\x80"s);
    EXPECT_EQ(take_all(*reader), "\0\0\0\0\0\0\0\x3f\0\0\x80\xbf"s) << "0, 0.5 and -1";
}

TEST_F(sound_plugin, has_one_position_for_frames_and_bytes) {
    auto const samples = sample(5000);
    open(k_wav_16, 1, samples);
    std::string part(2048, '\0');
    EXPECT_EQ(reader->seek(2048 + 3, morbase::from_start), 2051);
    EXPECT_EQ(reader->tell_frame(), 1);
    EXPECT_EQ(reader->peek(part.data(), 2), 2);
    EXPECT_EQ(part.substr(0, 2), samples.substr(2051, 2));
    EXPECT_EQ(reader->read_frame(part.data(), 2047), -ENOBUFS);
    EXPECT_EQ(reader->tell(), 2051);
    EXPECT_EQ(reader->read_frame(part.data(), 2048), 2048);
    EXPECT_TRUE(part == samples.substr(2048, 2048));
    EXPECT_EQ(reader->tell(), 4096);
    EXPECT_EQ(take_frames().size(), 904U) << "the short last frame";
    EXPECT_EQ(reader->tell_frame(), 3);
    EXPECT_EQ(reader->tell(), 5000);
    EXPECT_EQ(reader->seek_frame(2), 2);
    EXPECT_EQ(reader->tell(), 4096);
    EXPECT_EQ(reader->seek_frame(3), 3);
    EXPECT_EQ(reader->tell(), reader->size());

    EXPECT_EQ(reader->seek(-10, morbase::from_end), 4990);
    EXPECT_EQ(reader->seek(11, morbase::from_current), -EINVAL);
    EXPECT_EQ(reader->seek_frame(4), -EINVAL);
    EXPECT_EQ(reader->seek_frame(-1), -EINVAL);
    EXPECT_EQ(reader->tell(), 4990);
}

TEST_F(sound_plugin, goes_back_in_an_encoding_without_seeking) {
    open(SF_FORMAT_WAV | SF_FORMAT_GSM610, 1, sample(16000));
    std::string const all = take_all(*reader);
    EXPECT_EQ(reader->seek(5001, morbase::from_start), 5001);
    EXPECT_TRUE(take_all(*reader, 999) == all.substr(5001));
}

TEST_F(sound_plugin, a_file_without_samples_is_at_its_end) {
    open(k_wav_16, 2, "");
    EXPECT_EQ(reader->size(), 0);
    EXPECT_EQ(reader->tell_frame(), 0);
    EXPECT_EQ(take_all(*reader) + take_frames(), "");
}

TEST_F(sound_plugin, a_cut_file_gives_what_is_there_and_then_a_failure) {
    auto const samples = sample(40000);
    std::string const whole = support::read_file(make(k_flac_16, 1, samples));
    open_bytes(whole.substr(0, whole.size() * 2 / 3));
    std::string const read = take_all(*reader);
    EXPECT_GT(read.size(), 20000U);
    EXPECT_TRUE(read == samples.substr(0, read.size() - 4) + failure(EBADMSG));
    EXPECT_EQ(reader->seek_frame(0), 0);
    EXPECT_TRUE(take_frames() == read);
}

TEST_F(sound_plugin, damage_is_a_failure_and_what_lies_behind_it_is_readable) {
    auto const samples = sample(120000);
    std::string content = support::read_file(make(k_flac_16, 1, samples));
    content[content.size() / 2] = static_cast<char>(~content[content.size() / 2]);
    open_bytes(content);
    std::string const read = take_all(*reader);
    EXPECT_TRUE(read == samples.substr(0, read.size() - 4) + failure(EBADMSG));
    EXPECT_EQ(reader->seek(-20000, morbase::from_end), 100000);
    EXPECT_TRUE(take_all(*reader) == samples.substr(100000));
}

// The stream's header of a FLAC file has 36 bits for the count of samples.
TEST_F(sound_plugin, counts_the_samples_where_the_file_does_not_or_cannot_be_right) {
    auto const samples = sample(40002);
    std::string content = support::read_file(make(k_flac_16, 1, samples));
    content[21] = static_cast<char>(content[21] & 0xf0);
    open_bytes(content.replace(22, 4, 4, '\0'));
    EXPECT_EQ(reader->size(), 40002);
    EXPECT_TRUE(take_all(*reader) == samples);
    reader->close();
    content[21] = static_cast<char>(content[21] | 0x0f);
    open_bytes(content.replace(22, 4, 4, '\xff'));
    auto const track = reader->track_information(0);
    EXPECT_EQ(dynamic_cast<audio const&>(*track).total_samples, UINT_MAX);
    EXPECT_TRUE(take_all(*reader) == samples + failure(EBADMSG));
}

TEST_F(sound_plugin, a_file_that_shrinks_is_a_failure) {
    open(k_wav_16, 1, sample(40000));
    EXPECT_EQ(take(*reader, 2048).size(), 2048U);
    std::filesystem::resize_file(directory.path("sound"), 100);
    EXPECT_EQ(take_frames(), failure(EBADMSG));
    EXPECT_EQ(take(*reader, 1), failure(EBADMSG));
}

TEST_F(sound_plugin, refuses_what_is_no_sound) {
    std::string many_channels = support::read_file(make(k_wav_16, 1, sample(20)));
    many_channels.replace(22, 2, 2, '\xff');
    ASSERT_EQ(mkfifo(directory.path("fifo").c_str(), 0600), 0);
    struct {
        std::string path;
        int result;
    } const refused[] = {
        {directory.path("missing"), -ENOENT},
        {directory.path(), -EISDIR},
        {directory.path("fifo"), -ESPIPE},
        {"/dev/null", -ESPIPE},
        {"/proc/self/mem", -EBADMSG},
        {directory.write("empty", ""), -EBADMSG},
        {directory.write("text", "RIFF or not, this is text\n"), -EBADMSG},
        {directory.write("channels", many_channels), -EBADMSG},
    };
    for (auto const& row : refused) {
        EXPECT_EQ(reader->open(row.path, "r"), row.result) << row.path;
        EXPECT_EQ(reader->track_count(), 0U);
    }
}

}  // namespace
