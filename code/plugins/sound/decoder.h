// A sound file as a sequence of decoded frames. A frame has k_frame_samples samples of every
// channel; the last one may be shorter. A frame is the same however it is reached. If the library
// does not seek to the exact sample, or the length of the stream is unknown, the decoder reaches
// a frame by decoding what comes before it, from the last decoded frame or from the file's start.
//
// Samples are interleaved, in the machine's byte order: 16-bit signed integers for sources of at
// most 16 bits, 32-bit floats for all others. Use a decoder from one thread at a time.

#ifndef SOUND_DECODER_H
#define SOUND_DECODER_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "shared/descriptor.h"
#include "source.h"

namespace sound {

class decoder {
  public:
    static constexpr unsigned int k_frame_samples = 1024;

    // Opens a regular file. Returns 0 and sets opened, or returns a negative errno value and
    // leaves opened unchanged: EBADMSG if libsndfile cannot read the file. May raise
    // std::bad_alloc.
    static int open(std::string const& path, std::unique_ptr<decoder>& opened);

    ~decoder();

    decoder(decoder const&) = delete;
    decoder& operator=(decoder const&) = delete;

    // The four-character code of the container; 0 if it has none.
    unsigned int container() const;
    unsigned int channels() const { return static_cast<unsigned int>(facts.channels); }
    unsigned int sample_rate() const { return static_cast<unsigned int>(facts.sample_rate); }
    unsigned int bits_per_sample() const { return facts.is_float ? 32 : 16; }

    // The samples of one channel, according to the file. If the file does not say, or the number
    // cannot be true, the samples that can be decoded. The first call counts these, by decoding
    // them all if the source cannot count them otherwise.
    long long samples();

    // The same as far as it is known. Until they are counted, the number decoded so far.
    long long known_samples() const { return sample_count; }

    // Whether there are at least this many samples. Decodes up to there if that is not known.
    bool reaches(long long sample);

    // The bytes of a full frame.
    long long frame_bytes() const { return static_cast<long long>(frame.size()); }

    // Decodes a frame into data(). Returns its number of bytes, which is smaller if the file is
    // cut off; 0 after the end; -EBADMSG if the frame is damaged.
    long long load(long long wanted);

    unsigned char const* data() const { return frame.data(); }

  private:
    explicit decoder(bundled::descriptor opened) noexcept : file(std::move(opened)) {}

    int prepare();
    bool restart();
    bool move_to(long long wanted);
    bool seek_to(long long wanted);
    bool skip_to(long long wanted);
    long long decode_next();
    bool is_after_end(long long wanted) const {
        return is_counted && wanted * k_frame_samples >= sample_count;
    }

    bundled::descriptor file;
    std::unique_ptr<source> stream;  // null after a failed restart
    properties facts = {};           // of the first opening
    long long sample_count = 0;
    bool is_counted = false;  // if false, there may be more than sample_count
    bool is_cut = false;      // the count stopped at damage, not at the file's end
    std::vector<unsigned char> frame;
    long long loaded = -1;  // number of the frame in `frame`, -1 for none
    long long loaded_bytes = 0;
    long long next = -1;  // the stream is at the start of this frame, -1 for none
};

}  // namespace sound

#endif
