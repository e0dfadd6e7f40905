// A sound file as a row of decoded frames, each of k_frame_samples samples of every
// channel, the last one perhaps shorter. Over libsndfile: where it cannot seek in an
// encoding, a frame is reached by decoding what lies before it.
//
// Samples are interleaved, in the machine's byte order: signed integers of 16 bits
// for sources of at most that, floats of 32 bits for all others. One thread at a
// time uses a decoder. It allocates when it is opened and not afterwards.

#ifndef SOUND_DECODER_H
#define SOUND_DECODER_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <sndfile.h>

#include "../descriptor.h"

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
    unsigned int sample_rate() const { return static_cast<unsigned int>(facts.samplerate); }
    unsigned int bits_per_sample() const { return is_float ? 32 : 16; }

    // Of one channel. What libsndfile takes from the file; when that is nothing, or
    // cannot be true, the samples that can be decoded.
    long long samples() const { return sample_count; }

    // Whether the samples were counted and end in damage, not at the file's end.
    bool is_cut() const { return cut; }

    // Bytes of a full frame.
    long long frame_bytes() const { return static_cast<long long>(frame.size()); }

    // Decodes a frame into data(). Its bytes, fewer than it should have where the
    // file is cut off; -EBADMSG when there are none.
    long long load(long long wanted);

    unsigned char const* data() const { return frame.data(); }

  private:
    struct close_sound {
        void operator()(SNDFILE* opened) const { sf_close(opened); }
    };

    explicit decoder(bundled::descriptor opened) noexcept : file(std::move(opened)) {}

    int prepare();
    bool restart();
    void measure();
    bool move_to(long long wanted);
    bool seek_to(long long wanted);
    bool skip_to(long long wanted);
    long long decode_next();

    bundled::descriptor file;
    std::unique_ptr<SNDFILE, close_sound> stream;  // null after a failed restart
    SF_INFO facts = {};
    bool is_float = false;
    long long sample_count = 0;
    bool cut = false;
    std::vector<unsigned char> frame;
    long long loaded = -1;  // the frame in `frame`, -1 for none
    long long loaded_bytes = 0;
    long long next = 0;  // the frame at whose start the stream stands, -1 if at none
};

}  // namespace sound

#endif
