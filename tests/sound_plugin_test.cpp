#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sndfile.h>

#include <kivcore/kivcore.h>
#include <morbase/text.h>
#include <support/files.h>

namespace {

using kivcore::frame_reader;
using audio = frame_reader::audio_media_information;

constexpr int k_wav_16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
constexpr int k_flac_16 = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
constexpr int k_sample_rate = 44100;

struct close_sound {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

std::vector<short> noise(std::size_t count) {
    std::vector<short> samples(count);
    unsigned int state = 1;
    for (short& sample : samples) {
        state = state * 1103515245U + 12345U;
        sample = static_cast<short>(state >> 16U);
    }
    return samples;
}

template <typename sample>
std::string bytes_of(std::vector<sample> const& samples) {
    return {static_cast<char const*>(static_cast<void const*>(samples.data())),
            samples.size() * sizeof(sample)};
}

class sound_plugin : public testing::Test {
  protected:
    sound_plugin() : registry(new kivcore::plugins("")) {
        EXPECT_TRUE(registry->load_plugin(BUILT_PLUGIN_DIR "/sound"));
        reader = kivcore::create<frame_reader>(registry, "io/read/sound/kivcore/1.0");
    }

    // A file with these samples, its path.
    std::string make(int format, int channels, std::vector<short> const& samples) const {
        std::string path = directory.path("sound");
        SF_INFO facts = {};
        facts.format = format;
        facts.channels = channels;
        facts.samplerate = k_sample_rate;
        std::unique_ptr<SNDFILE, close_sound> const file(sf_open(path.c_str(), SFM_WRITE, &facts));
        EXPECT_TRUE(file) << sf_strerror(nullptr);
        auto const count = static_cast<sf_count_t>(samples.size());
        EXPECT_EQ(sf_write_short(file.get(), samples.data(), count), count);
        return path;
    }

    // The same, opened.
    void open(int format, int channels, std::vector<short> const& samples) {
        ASSERT_EQ(reader->open(make(format, channels, samples), "r"), 0);
    }

    // What is left of the stream, in portions of this size. Ends at a failure too.
    std::string read_on(unsigned long long portion) {
        std::string all;
        std::string part(portion, '\0');
        long long count = 0;
        while ((count = reader->read(part.data(), portion)) > 0) {
            all.append(part, 0, static_cast<std::size_t>(count));
        }
        last_result = count;
        return all;
    }

    std::string read_frames() {
        std::string all;
        std::string frame(65536, '\0');
        long long count = 0;
        while ((count = reader->read_frame(frame.data(), frame.size())) > 0) {
            all.append(frame, 0, static_cast<std::size_t>(count));
        }
        last_result = count;
        return all;
    }

  public:
    support::temporary_directory directory;
    morbase::ptr_refcount<kivcore::plugins> registry;
    kivcore::instance<frame_reader> reader;
    long long last_result = 0;
};

TEST_F(sound_plugin, describes_its_one_track) {
    EXPECT_EQ(reader->track_count(), 0U);
    open(k_wav_16, 2, noise(5000));
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
        open(row.format, 1, noise(3000));
        auto const track = reader->track_information(0);
        auto const* record = dynamic_cast<audio const*>(track.get());
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(morbase::string_with_fourcc(record->track_format, '.'), row.track_format);
        EXPECT_EQ(record->bits_per_sample, row.bits);
        EXPECT_EQ(record->total_samples, 3000U);
        EXPECT_EQ(read_on(1000).size(), 3000 * row.bits / 8);
        EXPECT_EQ(reader->close(), 0);
    }
}

TEST_F(sound_plugin, gives_the_same_samples_by_frames_and_by_bytes) {
    auto const samples = noise(7500);
    open(k_flac_16, 3, samples);
    EXPECT_TRUE(read_frames() == bytes_of(samples));
    EXPECT_EQ(reader->seek(0, morbase::from_start), 0);
    EXPECT_TRUE(read_on(777) == bytes_of(samples));
    EXPECT_EQ(reader->seek(0, morbase::from_start), 0);
    EXPECT_TRUE(read_on(1000000) == bytes_of(samples));
    EXPECT_EQ(last_result, 0);
}

TEST_F(sound_plugin, floats_come_at_their_value) {
    open(SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, {0, 16384, -32768});
    EXPECT_EQ(read_on(100), bytes_of(std::vector<float>{0.0F, 0.5F, -1.0F}));
}

TEST_F(sound_plugin, has_one_position_for_frames_and_bytes) {
    auto const samples = noise(2500);
    std::string const bytes = bytes_of(samples);
    open(k_wav_16, 1, samples);
    std::string part(2048, '\0');

    EXPECT_EQ(reader->seek(2048 + 3, morbase::from_start), 2051);
    EXPECT_EQ(reader->tell_frame(), 1);
    EXPECT_EQ(reader->peek(part.data(), 2), 2);
    EXPECT_EQ(part.substr(0, 2), bytes.substr(2051, 2));
    EXPECT_EQ(reader->read_frame(part.data(), 2047), -ENOBUFS);
    EXPECT_EQ(reader->tell(), 2051);
    EXPECT_EQ(reader->read_frame(part.data(), 2048), 2048);
    EXPECT_TRUE(part == bytes.substr(2048, 2048));
    EXPECT_EQ(reader->tell(), 4096);

    EXPECT_EQ(reader->read_frame(part.data(), 2048), 904);  // the short last frame
    EXPECT_EQ(reader->tell_frame(), 3);
    EXPECT_EQ(reader->tell(), 5000);
    EXPECT_EQ(reader->read_frame(part.data(), 2048), 0);
    EXPECT_EQ(reader->seek_frame(3), 3);
    EXPECT_EQ(reader->tell(), reader->size());
    EXPECT_EQ(reader->seek_frame(2), 2);
    EXPECT_EQ(reader->tell(), 4096);
}

TEST_F(sound_plugin, refuses_positions_that_are_not_there) {
    open(k_wav_16, 1, noise(2500));
    EXPECT_EQ(reader->seek(-10, morbase::from_end), 4990);
    EXPECT_EQ(reader->seek(11, morbase::from_current), -EINVAL);
    EXPECT_EQ(reader->seek(LLONG_MAX, morbase::from_current), -EINVAL);
    EXPECT_EQ(reader->seek(LLONG_MIN, morbase::from_end), -EINVAL);
    EXPECT_EQ(reader->seek(0, static_cast<morbase::whence>(7)), -EINVAL);
    EXPECT_EQ(reader->seek_frame(4), -EINVAL);
    EXPECT_EQ(reader->seek_frame(-1), -EINVAL);
    EXPECT_EQ(reader->tell(), 4990);
}

TEST_F(sound_plugin, goes_back_in_an_encoding_without_seeking) {
    open(SF_FORMAT_WAV | SF_FORMAT_GSM610, 1, noise(8000));
    std::string const all = read_on(4096);
    EXPECT_EQ(reader->seek(5001, morbase::from_start), 5001);
    EXPECT_TRUE(read_on(999) == all.substr(5001));
    EXPECT_EQ(last_result, 0);
}

TEST_F(sound_plugin, a_file_without_samples_is_at_its_end) {
    open(k_wav_16, 2, {});
    char byte = 0;
    EXPECT_EQ(reader->size(), 0);
    EXPECT_EQ(reader->tell_frame(), 0);
    EXPECT_EQ(reader->read(&byte, 1), 0);
    EXPECT_EQ(reader->read_frame(&byte, 1), 0);
}

TEST_F(sound_plugin, a_cut_file_gives_what_is_there_and_then_a_failure) {
    auto const samples = noise(20000);
    std::string const whole = support::read_file(make(k_flac_16, 1, samples));
    std::string const cut = directory.write("cut", whole.substr(0, whole.size() * 2 / 3));
    ASSERT_EQ(reader->open(cut, "r"), 0);
    std::string const read = read_on(5000);
    EXPECT_EQ(last_result, -EBADMSG);
    EXPECT_TRUE(read == bytes_of(samples).substr(0, read.size()));
    EXPECT_GT(read.size(), 20000U);
    EXPECT_EQ(reader->seek_frame(0), 0);
    EXPECT_TRUE(read_frames() == read);
    EXPECT_EQ(last_result, -EBADMSG);
}

TEST_F(sound_plugin, damage_is_a_failure_and_what_lies_behind_it_is_readable) {
    auto const samples = noise(60000);
    std::string content = support::read_file(make(k_flac_16, 1, samples));
    content[content.size() / 2] = static_cast<char>(~content[content.size() / 2]);
    ASSERT_EQ(reader->open(directory.write("damaged", content), "r"), 0);
    std::string const read = read_on(5000);
    EXPECT_EQ(last_result, -EBADMSG);
    EXPECT_TRUE(read == bytes_of(samples).substr(0, read.size()));
    EXPECT_EQ(reader->seek(-20000, morbase::from_end), 100000);
    EXPECT_TRUE(read_on(5000) == bytes_of(samples).substr(100000));
    EXPECT_EQ(last_result, 0);
}

TEST_F(sound_plugin, counts_the_samples_where_the_file_does_not) {
    auto const samples = noise(20001);
    std::string content = support::read_file(make(k_flac_16, 1, samples));
    content[21] = static_cast<char>(content[21] & 0xf0);  // 36 bits of the stream's header
    content.replace(22, 4, 4, '\0');
    ASSERT_EQ(reader->open(directory.write("streamed", content), "r"), 0);
    EXPECT_EQ(reader->size(), 40002);
    EXPECT_TRUE(read_on(5000) == bytes_of(samples));
    EXPECT_EQ(last_result, 0);
}

TEST_F(sound_plugin, a_length_that_cannot_be_true_is_kept_within_the_record) {
    std::string content = support::read_file(make(k_flac_16, 1, noise(2048)));
    content[21] = static_cast<char>(content[21] | 0x0f);
    content.replace(22, 4, 4, '\xff');
    ASSERT_EQ(reader->open(directory.write("boasting", content), "r"), 0);
    auto const track = reader->track_information(0);
    EXPECT_EQ(dynamic_cast<audio const&>(*track).total_samples, UINT_MAX);
    EXPECT_EQ(read_on(5000).size(), 4096U);
    EXPECT_EQ(last_result, -EBADMSG);
}

TEST_F(sound_plugin, a_file_that_shrinks_is_a_failure) {
    open(k_wav_16, 1, noise(20000));
    std::string part(2048, '\0');
    EXPECT_EQ(reader->read_frame(part.data(), part.size()), 2048);
    std::filesystem::resize_file(directory.path("sound"), 100);
    EXPECT_EQ(reader->read_frame(part.data(), part.size()), -EBADMSG);
    EXPECT_EQ(reader->read(part.data(), 1), -EBADMSG);
}

TEST_F(sound_plugin, refuses_what_is_no_sound) {
    std::string many_channels = support::read_file(make(k_wav_16, 1, noise(10)));
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
        {directory.write("empty", ""), -EBADMSG},
        {directory.write("text", "RIFF or not, this is text\n"), -EBADMSG},
        {directory.write("channels", many_channels), -EBADMSG},
    };
    for (auto const& row : refused) {
        EXPECT_EQ(reader->open(row.path, "r"), row.result) << row.path;
        EXPECT_EQ(reader->track_count(), 0U);
    }
    EXPECT_EQ(reader->open(make(k_wav_16, 1, noise(10)), "w"), -EINVAL);
}

TEST_F(sound_plugin, a_closed_reader_refuses_and_an_open_one_stays_open) {
    char bytes[20];
    EXPECT_EQ(reader->read(bytes, 1), -EBADF);
    EXPECT_EQ(reader->seek(0, morbase::from_start), -EBADF);
    EXPECT_EQ(reader->size(), -EBADF);
    EXPECT_EQ(reader->read_frame(bytes, 1), -EBADF);
    EXPECT_EQ(reader->seek_frame(0), -EBADF);
    EXPECT_EQ(reader->select_track(0), -EBADF);
    EXPECT_FALSE(reader->track_information(0));

    std::string const path = make(k_wav_16, 1, noise(10));
    ASSERT_EQ(reader->open(path, "r"), 0);
    EXPECT_EQ(reader->open(path, "r"), -EBUSY);
    EXPECT_EQ(reader->read(bytes, 20), 20);
    EXPECT_EQ(reader->close(), 0);
    EXPECT_EQ(reader->tell(), -EBADF);
    EXPECT_EQ(reader->open(path, "rb"), 0);
    EXPECT_EQ(reader->tell(), 0);
}

TEST_F(sound_plugin, exports_its_create_function_alone) {
    std::string const list = directory.path("exports");
    std::string const command =
        "nm -D --defined-only -j " BUILT_PLUGIN_DIR "/sound/darwin/x86/plugin.so >" + list;
    // NOLINTNEXTLINE(cert-env33-c): the command is this test's own
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(support::read_file(list), "sound_create\n");
}

}  // namespace
