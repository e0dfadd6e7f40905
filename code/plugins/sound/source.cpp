#include "source.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <utility>

#include <sndfile.h>

namespace sound {

namespace {

// The encodings that fit into 16 bits without loss.
constexpr std::array<int, 20> k_narrow_encodings = {
    SF_FORMAT_PCM_S8,    SF_FORMAT_PCM_U8,       SF_FORMAT_PCM_16,       SF_FORMAT_ULAW,
    SF_FORMAT_ALAW,      SF_FORMAT_IMA_ADPCM,    SF_FORMAT_MS_ADPCM,     SF_FORMAT_GSM610,
    SF_FORMAT_VOX_ADPCM, SF_FORMAT_NMS_ADPCM_16, SF_FORMAT_NMS_ADPCM_24, SF_FORMAT_NMS_ADPCM_32,
    SF_FORMAT_G721_32,   SF_FORMAT_G723_24,      SF_FORMAT_G723_40,      SF_FORMAT_DPCM_8,
    SF_FORMAT_DPCM_16,   SF_FORMAT_ALAC_16,      SF_FORMAT_DWVW_12,      SF_FORMAT_DWVW_16,
};

// The encodings, including those of FLAC, in which libsndfile seeks to the exact sample. In the
// others it does not (Vorbis, Opus, ALAC), or refuses.
constexpr std::array<int, 11> k_seekable_encodings = {
    SF_FORMAT_PCM_S8, SF_FORMAT_PCM_U8,    SF_FORMAT_PCM_16,   SF_FORMAT_PCM_24,
    SF_FORMAT_PCM_32, SF_FORMAT_FLOAT,     SF_FORMAT_DOUBLE,   SF_FORMAT_ULAW,
    SF_FORMAT_ALAW,   SF_FORMAT_IMA_ADPCM, SF_FORMAT_MS_ADPCM,
};

template <std::size_t Count>
bool has_one_of(int format, std::array<int, Count> const& encodings) {
    int const encoding = format & SF_FORMAT_SUBMASK;
    return std::find(encodings.begin(), encodings.end(), encoding) != encodings.end();
}

struct close_sound {
    void operator()(SNDFILE* opened) const { sf_close(opened); }
};

using sound_handle = std::unique_ptr<SNDFILE, close_sound>;

class sndfile_source final : public source {
  public:
    sndfile_source(sound_handle opened, properties const& facts) noexcept
        : source(facts), stream(std::move(opened)) {}

    long long read(void* target, long long count) override {
        return facts().is_float ? sf_readf_float(stream.get(), static_cast<float*>(target), count)
                                : sf_readf_short(stream.get(), static_cast<short*>(target), count);
    }

    bool failed() const override { return sf_error(stream.get()) != SF_ERR_NO_ERROR; }

    // If an error remains although the seek succeeded, the decoded samples could not be trusted.
    bool seek(long long sample) override {
        return sf_seek(stream.get(), sample, SEEK_SET) == sample && !failed();
    }

  private:
    sound_handle stream;
};

}  // namespace

std::unique_ptr<source> open_source(int descriptor) {
    if (lseek(descriptor, 0, SEEK_SET) < 0) {
        return nullptr;
    }
    SF_INFO info = {};
    sound_handle stream(sf_open_fd(descriptor, SFM_READ, &info, SF_FALSE));
    if (!stream) {
        return nullptr;
    }
    if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG) {
        stream.reset();
        return open_mpeg_source(descriptor, info.format);
    }
    // libsndfile returns the largest number for an unknown length; its seek then fails.
    long long const samples = info.frames == SF_COUNT_MAX ? -1 : info.frames;
    properties const facts = {
        info.format,
        info.channels,
        info.samplerate,
        !has_one_of(info.format, k_narrow_encodings),
        samples,
        has_one_of(info.format, k_seekable_encodings) && info.seekable != 0 && samples >= 0};
    return std::unique_ptr<source>(new (std::nothrow) sndfile_source(std::move(stream), facts));
}

}  // namespace sound
