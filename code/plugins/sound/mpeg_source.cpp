#include <unistd.h>

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include <mpg123.h>

#include "source.h"

namespace sound {

namespace {

struct delete_mpeg {
    void operator()(mpg123_handle* handle) const { mpg123_delete(handle); }
};

using mpeg_handle = std::unique_ptr<mpg123_handle, delete_mpeg>;

// libmpg123 can seek, but does not then give the same samples, because a frame depends on many
// frames before it.
class mpeg_source final : public source {
  public:
    mpeg_source(mpeg_handle opened, int read_from, properties const& facts) noexcept
        : source(facts), stream(std::move(opened)), descriptor(read_from) {}

    long long read(void* target, long long count) override;
    bool failed() const override {
        return result != MPG123_OK && result != MPG123_DONE && result != MPG123_NEW_FORMAT;
    }
    bool seek(long long) override { return false; }
    long long count() override;

  private:
    mpeg_handle stream;
    int descriptor;
    int result = MPG123_OK;
};

long long mpeg_source::read(void* target, long long count) {
    std::size_t const each = sizeof(float) * static_cast<std::size_t>(facts().channels);
    std::size_t done = 0;
    result = mpg123_read(stream.get(), static_cast<unsigned char*>(target),
                         static_cast<std::size_t>(count) * each, &done);
    return static_cast<long long>(done / each);
}

// Floats at the stream's own rate, without the padding of the encoder before and after the sound.
// MPG123_NO_FRANKENSTEIN is not set: it would end the sound after the number of frames in a
// header.
bool set_up(mpg123_handle* stream) {
    long const flags = MPG123_FORCE_FLOAT | MPG123_GAPLESS | MPG123_QUIET;
    return mpg123_param(stream, MPG123_REMOVE_FLAGS, MPG123_AUTO_RESAMPLE, 0) == MPG123_OK &&
           mpg123_param(stream, MPG123_ADD_FLAGS, flags, 0) == MPG123_OK;
}

// Opens the file from its start; null on failure.
mpeg_handle open_handle(int descriptor, properties& facts) {
    mpeg_handle stream(mpg123_new(nullptr, nullptr));
    if (!stream || !set_up(stream.get()) || lseek(descriptor, 0, SEEK_SET) < 0 ||
        mpg123_open_fd(stream.get(), descriptor) != MPG123_OK) {
        return nullptr;
    }
    long rate = 0;
    int encoding = 0;
    if (mpg123_getformat(stream.get(), &rate, &facts.channels, &encoding) != MPG123_OK ||
        encoding != MPG123_ENC_FLOAT_32) {
        return nullptr;
    }
    facts.sample_rate = static_cast<int>(rate);
    return stream;
}

// Uses a separate handle, because this one must keep its position. mpg123_scan does not work: it
// counts past a change of format, and gives up on gapless sound if the header counts too many
// frames.
long long mpeg_source::count() {
    off_t const position = lseek(descriptor, 0, SEEK_CUR);
    properties ignored = {};
    mpeg_handle const counted = open_handle(descriptor, ignored);
    int state = counted ? MPG123_OK : MPG123_ERR;
    while (state == MPG123_OK) {
        state = mpg123_framebyframe_next(counted.get());
    }
    long long const samples = state == MPG123_DONE ? mpg123_tell(counted.get()) : -1;
    return lseek(descriptor, position, SEEK_SET) == position ? samples : -1;
}

}  // namespace

// The samples are unknown, because the number of frames in a header does not include what was
// appended to the file.
std::unique_ptr<source> open_mpeg_source(int descriptor, int format) {
    properties facts = {format, 0, 0, true, -1, false};
    mpeg_handle stream = open_handle(descriptor, facts);
    if (!stream) {
        return nullptr;
    }
    return std::unique_ptr<source>(new (std::nothrow)
                                       mpeg_source(std::move(stream), descriptor, facts));
}

}  // namespace sound
