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

// libmpg123 seeks as well, but not to the same samples: a frame depends on many before it.
class mpeg_source final : public source {
  public:
    mpeg_source(mpeg_handle opened, properties const& facts) noexcept
        : source(facts), stream(std::move(opened)) {}

    long long read(void* target, long long count) override;
    bool failed() const override { return result != MPG123_OK && result != MPG123_DONE; }
    bool seek(long long) override { return false; }

  private:
    mpeg_handle stream;
    int result = MPG123_OK;
};

long long mpeg_source::read(void* target, long long count) {
    std::size_t const each = sizeof(float) * static_cast<std::size_t>(facts().channels);
    std::size_t done = 0;
    result = mpg123_read(stream.get(), static_cast<unsigned char*>(target),
                         static_cast<std::size_t>(count) * each, &done);
    return static_cast<long long>(done / each);
}

// Floats at the stream's own rate, without what the encoder put before and after the sound, up
// to where the first format ends.
bool set_up(mpg123_handle* stream) {
    long const flags = MPG123_FORCE_FLOAT | MPG123_GAPLESS | MPG123_NO_FRANKENSTEIN | MPG123_QUIET;
    return mpg123_param(stream, MPG123_REMOVE_FLAGS, MPG123_AUTO_RESAMPLE, 0) == MPG123_OK &&
           mpg123_param(stream, MPG123_ADD_FLAGS, flags, 0) == MPG123_OK;
}

}  // namespace

std::unique_ptr<source> open_mpeg_source(int descriptor, int format) {
    mpeg_handle stream(mpg123_new(nullptr, nullptr));
    if (!stream || !set_up(stream.get()) || lseek(descriptor, 0, SEEK_SET) < 0 ||
        mpg123_open_fd(stream.get(), descriptor) != MPG123_OK) {
        return nullptr;
    }
    long rate = 0;
    int channels = 0;
    int encoding = 0;
    if (mpg123_getformat(stream.get(), &rate, &channels, &encoding) != MPG123_OK ||
        encoding != MPG123_ENC_FLOAT_32) {
        return nullptr;
    }
    // Without a file size the length is the header's, and not an estimate.
    mpg123_set_filesize(stream.get(), -1);
    properties const facts = {
        format, channels, static_cast<int>(rate), true, mpg123_length(stream.get()), false};
    return std::unique_ptr<source>(new (std::nothrow) mpeg_source(std::move(stream), facts));
}

}  // namespace sound
