#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

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
constexpr int k_mp3 = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
constexpr int k_flac_16 = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;

struct close_sound {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

// Samples of 16 bits, alternately loud and silent, so that encoders switch modes and bit rates.
std::string loud_and_silent(std::size_t count) {
    std::string samples = sample(2 * count);
    for (std::size_t at = 12000; at < samples.size(); at += 50000) {
        samples.replace(at, 18000, 18000, '\0');
    }
    return samples.substr(0, 2 * count);
}

// Opus does not support a rate of 44100.
int rate_for(int format) {
    return (format & SF_FORMAT_SUBMASK) == SF_FORMAT_OPUS ? 48000 : 44100;
}

// Whether libsndfile can write the format and recognise it from the file alone. It declares the
// older layers of MPEG, but accepts no sample for DWVW of 12 bits.
bool is_written(int format, int channels) {
    SF_INFO const facts = {0, rate_for(format), channels, format, 0, 0};
    int const container = format & SF_FORMAT_TYPEMASK;
    int const encoding = format & SF_FORMAT_SUBMASK;
    if (container == SF_FORMAT_MPEG || encoding == SF_FORMAT_MPEG_LAYER_III) {
        return container == SF_FORMAT_MPEG && encoding == SF_FORMAT_MPEG_LAYER_III;
    }
    return sf_format_check(&facts) != 0 && container != SF_FORMAT_RAW &&
           container != SF_FORMAT_SD2 && encoding != SF_FORMAT_DWVW_12;
}

// Each container of libsndfile with each encoding.
std::vector<int> all_formats() {
    int containers = 0;
    int encodings = 0;
    sf_command(nullptr, SFC_GET_FORMAT_MAJOR_COUNT, &containers, sizeof containers);
    sf_command(nullptr, SFC_GET_FORMAT_SUBTYPE_COUNT, &encodings, sizeof encodings);
    std::vector<int> formats;
    for (int i = 0; i < containers * encodings; ++i) {
        SF_FORMAT_INFO container = {i / encodings, nullptr, nullptr};
        SF_FORMAT_INFO encoding = {i % encodings, nullptr, nullptr};
        sf_command(nullptr, SFC_GET_FORMAT_MAJOR, &container, sizeof container);
        sf_command(nullptr, SFC_GET_FORMAT_SUBTYPE, &encoding, sizeof encoding);
        formats.push_back(container.format | encoding.format);
    }
    return formats;
}

struct sound_plugin : testing::Test {
    // Writes a file with these samples of 16 bits; returns its path.
    std::string make(int format, int channels, std::string const& samples,
                     int bitrate_mode = SF_BITRATE_MODE_CONSTANT) const {
        std::string path = directory.path("sound");
        SF_INFO facts = {0, rate_for(format), channels, format, 0, 0};
        std::unique_ptr<SNDFILE, close_sound> const file(sf_open(path.c_str(), SFM_WRITE, &facts));
        EXPECT_TRUE(file) << sf_strerror(nullptr);
        sf_command(file.get(), SFC_SET_BITRATE_MODE, &bitrate_mode, sizeof bitrate_mode);
        auto const count = static_cast<sf_count_t>(samples.size() / 2);
        auto const* const first = reinterpret_cast<short const*>(samples.data());
        EXPECT_EQ(sf_write_short(file.get(), first, count), count);
        return path;
    }

    // The same, and opens the file.
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

    // Seeks to frames, forward and back, and reads: each frame must be the same as when read in
    // order.
    void expect_frames_by_seeking(std::string const& all) const {
        auto const track = reader->track_information(0);
        auto const& record = dynamic_cast<audio const&>(*track);
        ASSERT_EQ(reader->size(), static_cast<long long>(all.size()));
        std::string frame(record.frame_data_size, '\0');
        for (unsigned int step = 0; step < 60; ++step) {
            std::size_t const wanted = (step * step * 7 + step / 3) % record.number_of_frames;
            ASSERT_EQ(reader->seek_frame(static_cast<long long>(wanted)), wanted);
            auto const expected = all.substr(wanted * frame.size(), frame.size());
            ASSERT_EQ(reader->read_frame(frame.data(), frame.size()), expected.size()) << wanted;
            ASSERT_TRUE(frame.substr(0, expected.size()) == expected) << wanted;
        }
    }

    support::temporary_directory directory;
    kivcore::instance<frame_reader> reader = support::bundled<frame_reader>("read", "sound");
};

TEST_F(sound_plugin, describes_its_only_track) {
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

TEST_F(sound_plugin, names_the_container_and_keeps_the_precision_of_the_encoding) {
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

TEST_F(sound_plugin, reads_the_same_samples_by_frames_and_by_bytes) {
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

TEST_F(sound_plugin, reads_the_same_frames_of_every_format_in_order_and_after_seeks) {
    auto const samples = loud_and_silent(60000);
    int tried = 0;
    for (int const format : all_formats()) {
        for (int channels = 1; channels <= 2; ++channels) {
            if (!is_written(format, channels)) {
                continue;
            }
            std::ostringstream name;
            name << std::hex << format << " with channels: " << channels;
            SCOPED_TRACE(name.str());
            open(format, channels, samples);
            expect_frames_by_seeking(take_frames());
            reader->close();
            ++tried;
        }
    }
    EXPECT_GT(tried, 150);
}

#ifdef KIVPLUG  // which is built unless it is switched off
TEST_F(sound_plugin, its_contracts_are_kept_in_every_way_to_seek) {
    for (int const format :
         {k_wav_16, k_flac_16, k_mp3, SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM,
          SF_FORMAT_OGG | SF_FORMAT_VORBIS, SF_FORMAT_OGG | SF_FORMAT_OPUS,
          SF_FORMAT_CAF | SF_FORMAT_ALAC_16, SF_FORMAT_AIFF | SF_FORMAT_DWVW_16}) {
        make(format, 1, sample(24000));
        std::string const contract = "'" KIVPLUG "' -d '" BUILT_PLUGIN_DIR
                                     "' contract "
                                     "io/read/sound/.* sound --sequences 50 ";
        EXPECT_EQ(directory.shell(contract), 0) << format;
        EXPECT_EQ(directory.shell(contract + "--frames"), 0) << format;
    }
}
#endif

// The length is in the first frame, which counts as a frame of silence if its mark is missing.
TEST_F(sound_plugin, reads_all_of_an_mp3_file_with_and_without_a_length) {
    constexpr std::size_t k_samples = 90000;
    constexpr std::size_t k_blank = 1152;  // samples of a frame; the encoder adds fewer
    auto const samples = loud_and_silent(k_samples);
    for (int const mode : {SF_BITRATE_MODE_CONSTANT, SF_BITRATE_MODE_VARIABLE}) {
        SCOPED_TRACE(mode);
        std::string content = support::read_file(make(k_mp3, 1, samples, mode));
        open_bytes(content);
        std::string const exact = take_frames();
        EXPECT_EQ(exact.size() / sizeof(float), k_samples);
        expect_frames_by_seeking(exact);
        reader->close();
        std::size_t const mark = content.find(mode == SF_BITRATE_MODE_CONSTANT ? "Info" : "Xing");
        for (auto const& frames : {"\0\0\0\x1e"s, "\xff\xff\xff\xff"s}) {
            open_bytes(std::string(content).replace(mark + 8, 4, frames));
            long long const size = reader->size();
            std::string const all = take_frames();
            EXPECT_EQ(size, all.size());
            EXPECT_GE(all.size() / sizeof(float), k_samples);
            EXPECT_LT(all.size() / sizeof(float), k_samples + 2 * k_blank);
            expect_frames_by_seeking(all);
            reader->close();
        }
        open_bytes(content.replace(mark, 4, 4, '\0'));
        std::string const all = take_frames();
        EXPECT_GT(all.size() / sizeof(float), k_samples + k_blank);
        EXPECT_LT(all.size() / sizeof(float), k_samples + 4 * k_blank);
        expect_frames_by_seeking(all);
        reader->close();
    }
}

TEST_F(sound_plugin, reads_every_frame_of_older_mpeg_layers) {
    struct {
        char const* header;
        std::size_t bytes;
    } const layers[] = {{"\xff\xff\xc0\xc0", 416}, {"\xff\xfd\x80\xc0", 417}};
    for (auto const& layer : layers) {
        std::string content = sample(layer.bytes * 50);
        for (std::size_t at = 0; at < content.size(); at += layer.bytes) {
            content.replace(at, 4, layer.header);
        }
        open_bytes(content);
        std::string const all = take_frames();
        EXPECT_EQ(all.size() % (sizeof(float) * 384), 0U);
        expect_frames_by_seeking(all);
        reader->close();
    }
}

TEST_F(sound_plugin, a_file_without_samples_is_at_its_end) {
    open(k_wav_16, 2, "");
    EXPECT_EQ(reader->size(), 0);
    EXPECT_EQ(reader->tell_frame(), 0);
    EXPECT_EQ(take_all(*reader) + take_frames(), "");
}

TEST_F(sound_plugin, a_truncated_file_is_read_up_to_the_cut_and_then_fails) {
    auto const samples = sample(40000);
    std::string const whole = support::read_file(make(k_flac_16, 1, samples));
    open_bytes(whole.substr(0, whole.size() * 2 / 3));
    std::string const read = take_all(*reader);
    EXPECT_GT(read.size(), 20000U);
    EXPECT_TRUE(read == samples.substr(0, read.size() - 4) + failure(EBADMSG));
    EXPECT_EQ(reader->seek_frame(0), 0);
    EXPECT_TRUE(take_frames() == read);
}

TEST_F(sound_plugin, damage_is_a_failure_and_samples_after_it_are_readable) {
    auto const samples = sample(120000);
    std::string content = support::read_file(make(k_flac_16, 1, samples));
    content[content.size() / 2] = static_cast<char>(~content[content.size() / 2]);
    open_bytes(content);
    std::string const read = take_all(*reader);
    EXPECT_TRUE(read == samples.substr(0, read.size() - 4) + failure(EBADMSG));
    EXPECT_EQ(reader->seek(-20000, morbase::from_end), 100000);
    EXPECT_TRUE(take_all(*reader) == samples.substr(100000));
}

// The stream header of a FLAC file has 36 bits for the number of samples.
TEST_F(sound_plugin, counts_the_samples_if_the_header_does_not_and_reports_missing_ones) {
    auto const samples = sample(40002);
    std::string content = support::read_file(make(k_flac_16, 1, samples));
    content[21] = static_cast<char>(content[21] & 0xf0);
    open_bytes(content.replace(22, 4, 4, '\0'));
    EXPECT_EQ(reader->seek(40004, morbase::from_start), -EINVAL);
    EXPECT_EQ(reader->seek(-2, morbase::from_end), 40000);
    EXPECT_EQ(reader->seek_frame(0), 0);
    EXPECT_TRUE(take_all(*reader) == samples);
    expect_frames_by_seeking(samples);
    reader->close();
    content[21] = static_cast<char>(content[21] | 0x0f);
    open_bytes(content.replace(22, 4, 4, '\xff'));
    auto const track = reader->track_information(0);
    EXPECT_EQ(dynamic_cast<audio const&>(*track).total_samples, UINT_MAX);
    EXPECT_TRUE(take_all(*reader) == samples + failure(EBADMSG));
    EXPECT_EQ(reader->seek(39000, morbase::from_start), 39000);
    EXPECT_TRUE(take_all(*reader) == samples.substr(39000) + failure(EBADMSG));
}

// The second half of the file is written after the file was opened.
TEST_F(sound_plugin, decodes_no_further_than_it_must) {
    auto const samples = sample(200000);
    std::string content = support::read_file(make(k_flac_16, 1, samples));
    content[21] = static_cast<char>(content[21] & 0xf0);
    content.replace(22, 4, 4, '\0');
    auto const path = directory.write("bytes", content.substr(0, content.size() / 2));
    ASSERT_EQ(reader->open(path, "r"), 0);
    EXPECT_EQ(reader->seek(6000, morbase::from_start), 6000);
    EXPECT_EQ(take(*reader, 100), samples.substr(6000, 100));
    directory.write("bytes", content);
    EXPECT_EQ(reader->size(), 200000);
}

TEST_F(sound_plugin, reading_a_file_that_has_shrunk_fails) {
    open(k_wav_16, 1, sample(40000));
    EXPECT_EQ(take(*reader, 2048).size(), 2048U);
    std::filesystem::resize_file(directory.path("sound"), 100);
    EXPECT_EQ(take_frames(), failure(EBADMSG));
    EXPECT_EQ(take(*reader, 1), failure(EBADMSG));
}

TEST_F(sound_plugin, refuses_files_that_are_not_sound_files) {
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
