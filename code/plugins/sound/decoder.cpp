#include "decoder.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>

#include <sndfile.h>

namespace sound {

namespace {

// libsndfile's number of a container, and its four-character code.
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
    facts = stream->facts();
    frame.resize(std::size_t{k_frame_samples} * channels() * (bits_per_sample() / 8));
    // Treat a number that is too large for a size as unknown.
    is_counted = facts.samples >= 0 && facts.samples <= LLONG_MAX / frame_bytes();
    sample_count = is_counted ? facts.samples : 0;
    return is_counted || load(0) >= 0 ? 0 : -EBADMSG;
}

unsigned int decoder::container() const {
    for (container_code const& known : k_container_codes) {
        if (known.format == (facts.format & SF_FORMAT_TYPEMASK)) {
            return fourcc(known.code);
        }
    }
    return 0;
}

long long decoder::samples() {
    if (is_counted) {
        return sample_count;
    }
    long long const count = stream ? stream->count() : -1;
    if (count >= 0) {
        sample_count = std::max(sample_count, count);
    } else {
        skip_to(LLONG_MAX);
        is_cut = is_cut || !is_counted;  // the file has changed
    }
    is_counted = true;
    return sample_count;
}

bool decoder::reaches(long long sample) {
    if (sample > sample_count && !is_counted) {
        skip_to(sample / k_frame_samples + (sample % k_frame_samples != 0 ? 1 : 0));
    }
    return sample <= sample_count;
}

// Keeps the last frame: a read that ends inside a frame continues in it.
long long decoder::load(long long wanted) {
    if (wanted == loaded) {
        return loaded_bytes;
    }
    long long const bytes = !is_after_end(wanted) && move_to(wanted) ? decode_next() : 0;
    if (bytes > 0) {
        return bytes;
    }
    return is_after_end(wanted) && !is_cut ? 0 : -EBADMSG;
}

// Starts again from the file's start. This also helps after failures from which a source does not
// recover. The file may have been written to since, so this fails if its format no longer fits
// the buffers. MPEG audio does not go through libsndfile again, which prints a warning each time.
bool decoder::restart() {
    next = -1;
    stream.reset();  // before another one moves the descriptor
    bool const is_mpeg = (facts.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG;
    stream = is_mpeg ? open_mpeg_source(file.get(), facts.format) : open_source(file.get());
    if (!stream) {
        return false;
    }
    properties const& now = stream->facts();
    if (facts.channels != 0 && (now.channels != facts.channels || now.is_float != facts.is_float)) {
        stream.reset();
        return false;
    }
    next = 0;
    return true;
}

// Moves the stream to the start of a frame. After damage a stream may refuse every seek, while a
// new stream can seek past the damage. If no seek works, decoding may.
bool decoder::move_to(long long wanted) {
    if (next == wanted) {
        return true;
    }
    return (facts.seeks && (seek_to(wanted) || (restart() && seek_to(wanted)))) || skip_to(wanted);
}

bool decoder::seek_to(long long wanted) {
    bool const has_arrived = stream && stream->seek(wanted * k_frame_samples);
    next = has_arrived ? wanted : -1;
    return has_arrived;
}

// Decodes up to a frame, from the present position if that is before the frame, otherwise from
// the start.
bool decoder::skip_to(long long wanted) {
    if ((next < 0 || next > wanted) && !restart()) {
        return false;
    }
    while (next < wanted) {
        if (decode_next() != frame_bytes()) {
            return false;
        }
    }
    return true;
}

// Decodes the next frame. Returns its bytes, 0 at the end, negative for damage. A source may
// replace damaged parts with silence and report an error, so a full frame with an error counts as
// damaged.
long long decoder::decode_next() {
    long long const count = std::max(stream->read(frame.data(), k_frame_samples), 0LL);
    bool const has_failed = stream->failed();
    bool const is_damaged = has_failed && (count == k_frame_samples || count == 0);
    long long const decoded = is_damaged ? 0 : count;
    bool const is_full = decoded == k_frame_samples;
    if (!is_counted) {
        sample_count = std::max(sample_count, next * k_frame_samples + decoded);
        is_counted = !is_full;
        is_cut = !is_full && has_failed;
    }
    loaded = decoded > 0 ? next : -1;
    loaded_bytes = decoded * (frame_bytes() / k_frame_samples);
    next = is_full ? next + 1 : -1;
    return is_damaged ? -EBADMSG : loaded_bytes;
}

}  // namespace sound
