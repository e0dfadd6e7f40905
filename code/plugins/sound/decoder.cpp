#include "decoder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>

namespace sound {

namespace {

// libsndfile's number of a container, and the four characters it is shown by.
struct container_code {
    int format;
    char code[5];
};

constexpr std::array<container_code, 24> k_container_codes = {{
    {SF_FORMAT_WAV, "WAVE"},  {SF_FORMAT_WAVEX, "WAVE"}, {SF_FORMAT_RF64, "RF64"},
    {SF_FORMAT_W64, "W64 "},  {SF_FORMAT_AIFF, "AIFF"},  {SF_FORMAT_AU, "AU  "},
    {SF_FORMAT_CAF, "CAF "},  {SF_FORMAT_FLAC, "FLAC"},  {SF_FORMAT_OGG, "OGG "},
    {SF_FORMAT_MPEG, "MPEG"}, {SF_FORMAT_PAF, "PAF "},   {SF_FORMAT_SVX, "8SVX"},
    {SF_FORMAT_NIST, "NIST"}, {SF_FORMAT_VOC, "VOC "},   {SF_FORMAT_IRCAM, "IRCM"},
    {SF_FORMAT_MAT4, "MAT4"}, {SF_FORMAT_MAT5, "MAT5"},  {SF_FORMAT_PVF, "PVF "},
    {SF_FORMAT_AVR, "AVR "},  {SF_FORMAT_WVE, "WVE "},   {SF_FORMAT_MPC2K, "MPC "},
    {SF_FORMAT_XI, "XI  "},   {SF_FORMAT_HTK, "HTK "},   {SF_FORMAT_SDS, "SDS "},
}};

// The encodings that 16 bits hold without loss.
constexpr std::array<int, 20> k_narrow_encodings = {
    SF_FORMAT_PCM_S8,    SF_FORMAT_PCM_U8,       SF_FORMAT_PCM_16,       SF_FORMAT_ULAW,
    SF_FORMAT_ALAW,      SF_FORMAT_IMA_ADPCM,    SF_FORMAT_MS_ADPCM,     SF_FORMAT_GSM610,
    SF_FORMAT_VOX_ADPCM, SF_FORMAT_NMS_ADPCM_16, SF_FORMAT_NMS_ADPCM_24, SF_FORMAT_NMS_ADPCM_32,
    SF_FORMAT_G721_32,   SF_FORMAT_G723_24,      SF_FORMAT_G723_40,      SF_FORMAT_DPCM_8,
    SF_FORMAT_DPCM_16,   SF_FORMAT_ALAC_16,      SF_FORMAT_DWVW_12,      SF_FORMAT_DWVW_16,
};

bool fits_16_bits(int format) {
    int const encoding = format & SF_FORMAT_SUBMASK;
    return std::find(k_narrow_encodings.begin(), k_narrow_encodings.end(), encoding) !=
           k_narrow_encodings.end();
}

unsigned int fourcc(char const* text) {
    unsigned int code = 0;
    for (int i = 0; i < 4; ++i) {
        code = code << 8U | static_cast<unsigned char>(text[i]);
    }
    return code;
}

int refuse_irregular(int opened) {
    struct stat status = {};
    if (fstat(opened, &status) != 0) {
        return -errno;
    }
    if (S_ISDIR(status.st_mode)) {
        return -EISDIR;
    }
    return S_ISREG(status.st_mode) ? 0 : -ESPIPE;
}

}  // namespace

int decoder::open(std::string const& path, std::unique_ptr<decoder>& opened) {
    std::unique_ptr<decoder> made(new decoder(bundled::open_for_reading(path.c_str())));
    int const failure = made->file.is_open() ? made->prepare() : made->file.get();
    if (failure == 0) {
        opened = std::move(made);
    }
    return failure;
}

decoder::~decoder() = default;

int decoder::prepare() {
    int const irregular = refuse_irregular(file.get());
    if (irregular != 0) {
        return irregular;
    }
    if (!restart()) {
        return -EBADMSG;
    }
    is_float = !fits_16_bits(facts.format);
    frame.resize(std::size_t{k_frame_samples} * channels() * (bits_per_sample() / 8));
    sample_count = facts.frames;
    // libsndfile gives the largest number for a length that it could not find out.
    if (sample_count < 0 || sample_count > LLONG_MAX / frame_bytes()) {
        measure();
        return sample_count > 0 && stream ? 0 : -EBADMSG;
    }
    return 0;
}

unsigned int decoder::container() const {
    for (container_code const& known : k_container_codes) {
        if (known.format == (facts.format & SF_FORMAT_TYPEMASK)) {
            return fourcc(known.code);
        }
    }
    return 0;
}

// Frames are often asked for twice: a read that ends inside one goes on in it.
long long decoder::load(long long wanted) {
    if (wanted == loaded) {
        return loaded_bytes;
    }
    long long const bytes = move_to(wanted) ? decode_next() : 0;
    return bytes > 0 ? bytes : -EBADMSG;
}

// From the file's start: also the way out of failures that libsndfile does not recover
// from. Others may have written to the file since; the buffers are made for what it was.
bool decoder::restart() {
    int const channels_before = facts.channels;
    stream.reset();
    if (lseek(file.get(), 0, SEEK_SET) < 0) {
        return false;
    }
    SF_INFO found = {};
    stream.reset(sf_open_fd(file.get(), SFM_READ, &found, SF_FALSE));
    if (stream && channels_before != 0 && found.channels != channels_before) {
        stream.reset();
    }
    if (!stream) {
        return false;
    }
    facts = found;
    next = 0;
    return true;
}

// Counts the samples by decoding them all.
void decoder::measure() {
    long long const sample_bytes = frame_bytes() / k_frame_samples;
    long long bytes = 0;
    sample_count = 0;
    do {
        bytes = decode_next();
        sample_count += std::max(bytes, 0LL) / sample_bytes;
    } while (bytes == frame_bytes());
    cut = sf_error(stream.get()) != SF_ERR_NO_ERROR;
    restart();
}

// Brings the stream to the start of a frame, in the way that this encoding allows.
bool decoder::move_to(long long wanted) {
    if (stream && next == wanted) {
        return true;
    }
    if (facts.seekable == 0) {
        return skip_to(wanted);
    }
    // After damage a stream may refuse every seek, where a new one goes past the damage.
    return seek_to(wanted) || (restart() && seek_to(wanted));
}

// An error may be left over though the seek arrived: the decoded frame could not be trusted.
bool decoder::seek_to(long long wanted) {
    sf_count_t const target = wanted * k_frame_samples;
    if (!stream || sf_seek(stream.get(), target, SEEK_SET) != target ||
        sf_error(stream.get()) != SF_ERR_NO_ERROR) {
        next = -1;
        return false;
    }
    next = wanted;
    return true;
}

// Decodes up to a frame, from where the stream stands if that lies before it.
bool decoder::skip_to(long long wanted) {
    if ((!stream || next < 0 || next > wanted) && !restart()) {
        return false;
    }
    while (next < wanted) {
        if (decode_next() != frame_bytes()) {
            return false;
        }
    }
    return true;
}

// Bytes, 0 at the end, negative for damage. libsndfile puts silence in the place of some
// damaged parts and reports an error with it: a full frame with an error is no frame.
long long decoder::decode_next() {
    void* const target = frame.data();
    sf_count_t const count =
        is_float ? sf_readf_float(stream.get(), static_cast<float*>(target), k_frame_samples)
                 : sf_readf_short(stream.get(), static_cast<short*>(target), k_frame_samples);
    bool const is_full = count == k_frame_samples;
    bool const is_damaged = sf_error(stream.get()) != SF_ERR_NO_ERROR && (is_full || count <= 0);
    loaded = count > 0 && !is_damaged ? next : -1;
    loaded_bytes = std::max<sf_count_t>(count, 0) * (frame_bytes() / k_frame_samples);
    next = is_full && !is_damaged ? next + 1 : -1;
    return is_damaged ? -EBADMSG : loaded_bytes;
}

}  // namespace sound
