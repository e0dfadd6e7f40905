// A sound file's samples from its first one on, in the forms that decoder.h promises. libsndfile
// reads all formats but MPEG audio: it takes its length from the file's size where no header
// has it, and stops there. So libmpg123, which it decodes with, is used directly for that.
//
// One thread at a time uses a source.

#ifndef SOUND_SOURCE_H
#define SOUND_SOURCE_H

#include <memory>

namespace sound {

struct properties {
    int format;  // libsndfile's number for container and encoding
    int channels;
    int sample_rate;
    bool is_float;      // or integers of 16 bits
    long long samples;  // of one channel, as the file has it; negative when it does not
    bool seeks;         // whether seek() may be called
};

class source {
  public:
    virtual ~source() = default;

    source(source const&) = delete;
    source& operator=(source const&) = delete;

    properties const& facts() const noexcept { return found; }

    // Decodes up to count samples of every channel. How many came: fewer at the end and at
    // damage, which failed() tells apart.
    virtual long long read(void* target, long long count) = 0;

    // Whether the last call met damage.
    virtual bool failed() const = 0;

    // Moves to a sample, exactly: what is read there is what reading from the start would
    // give. False on failure; the source is then nowhere.
    virtual bool seek(long long sample) = 0;

    // The samples of one channel, for a file that does not have the number: counted without
    // decoding them. Negative where that cannot be done. Where read() goes on stays as it is.
    virtual long long count() { return -1; }

  protected:
    explicit source(properties const& facts) noexcept : found(facts) {}

  private:
    properties found;
};

// Opens what a descriptor has, from the file's start. The descriptor is borrowed and its
// position is moved. Null for what is not a sound file, and when memory runs out.
std::unique_ptr<source> open_source(int descriptor);

// The same for what libsndfile found to be MPEG audio of this format.
std::unique_ptr<source> open_mpeg_source(int descriptor, int format);

}  // namespace sound

#endif
