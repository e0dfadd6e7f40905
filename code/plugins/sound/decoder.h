// A sound file as a sequence of decoded frames, each of k_frame_samples samples of every
// channel, the last one perhaps shorter. A frame is the same however it is reached: where the
// library does not seek to the very sample, and in a stream of unknown length, by decoding what
// comes before it, from the frame after the last one decoded or from the file's start.
//
// Samples are interleaved, in the machine's byte order: signed integers of 16 bits
// for sources of at most that, floats of 32 bits for all others. One thread at a
// time uses a decoder.

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

    // Opens a regular file. 0, with the decoder in opened, or a negative errno value
    // with opened left alone: EBADMSG when libsndfile does not read this file. May
    // raise std::bad_alloc.
    static int open(std::string const& path, std::unique_ptr<decoder>& opened);

    ~decoder();

    decoder(decoder const&) = delete;
    decoder& operator=(decoder const&) = delete;

    // Four characters for the container; 0 for one without a code.
    unsigned int container() const;
    unsigned int channels() const { return static_cast<unsigned int>(facts.channels); }
    unsigned int sample_rate() const { return static_cast<unsigned int>(facts.sample_rate); }
    unsigned int bits_per_sample() const { return facts.is_float ? 32 : 16; }

    // Of one channel, and from what the file says. When that is nothing, or cannot be true, the
    // samples that can be decoded, which the first call counts: where the source cannot do
    // that, by decoding them all.
    long long samples();

    // The same as far as it is known: no more than were decoded, until they are counted.
    long long known_samples() const { return sample_count; }

    // Whether there are so many samples. Decodes up to there when that is not known.
    bool reaches(long long sample);

    // Bytes of a full frame.
    long long frame_bytes() const { return static_cast<long long>(frame.size()); }

    // Decodes a frame into data(). Its bytes, fewer than it should have where the
    // file is cut off; 0 after the end, -EBADMSG when damage is in their place.
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
    properties facts = {};           // when it was opened
    long long sample_count = 0;
    bool is_counted = false;  // or there may be more than sample_count
    bool is_cut = false;      // they were counted up to damage, not to the file's end
    std::vector<unsigned char> frame;
    long long loaded = -1;  // the frame in `frame`, -1 for none
    long long loaded_bytes = 0;
    long long next = -1;  // the frame at whose start the stream is, -1 if at none
};

}  // namespace sound

#endif
