// The samples of a sound file, from the first one on, in the forms that decoder.h promises.
// libsndfile reads all formats except MPEG audio. If no header has the length of MPEG audio,
// libsndfile estimates it from the file's size and stops there. So libmpg123, which libsndfile
// uses for it, is used directly.
//
// Use a source from one thread at a time.

#ifndef SOUND_SOURCE_H
#define SOUND_SOURCE_H

#include <memory>

namespace sound {

struct properties {
    int format;  // libsndfile's number for container and encoding
    int channels;
    int sample_rate;
    bool is_float;      // otherwise 16-bit integers
    long long samples;  // of one channel, according to the file; negative if unknown
    bool seeks;         // whether seek() may be called
};

class source {
  public:
    virtual ~source() = default;

    source(source const&) = delete;
    source& operator=(source const&) = delete;

    properties const& facts() const noexcept { return found; }

    // Decodes up to count samples of every channel. Returns their number: fewer at the end and at
    // damage, which failed() distinguishes.
    virtual long long read(void* target, long long count) = 0;

    // Whether the last call found damage.
    virtual bool failed() const = 0;

    // Moves to the exact sample: a read there gives the same as reading from the start. False on
    // failure; then the position is unspecified.
    virtual bool seek(long long sample) = 0;

    // Counts the samples of one channel without decoding them, for a file that does not have the
    // number. Negative if that is not possible. Does not change the position of read().
    virtual long long count() { return -1; }

  protected:
    explicit source(properties const& facts) noexcept : found(facts) {}

  private:
    properties found;
};

// Opens the descriptor's file from its start. The caller keeps the descriptor; its position
// changes. Null if it is not a sound file, or if memory runs out.
std::unique_ptr<source> open_source(int descriptor);

// The same for a file that libsndfile has recognised as MPEG audio of this format.
std::unique_ptr<source> open_mpeg_source(int descriptor, int format);

}  // namespace sound

#endif
