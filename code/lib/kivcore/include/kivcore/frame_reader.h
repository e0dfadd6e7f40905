// A reader of media that consist of tracks, and the records that describe a track. Tracks and
// frames are numbered from 0. Use a frame_reader from one thread at a time. Records never change,
// so any number of threads may read them.
//
// kind() returns the kind of every reader. Use dynamic_cast to find out whether a reader is also
// a frame_reader, or create it with kivcore::create<frame_reader>. The plug-in decides whether
// the stream operations work on the file or on the selected track. It also decides what the bytes
// of a frame are: the record has no sample or pixel format. Exceptions of the plug-in pass
// through.

#ifndef KIVCORE_FRAME_READER_H
#define KIVCORE_FRAME_READER_H

#include <string>

#include <kivcore/export.h>
#include <kivcore/reader.h>
#include <morbase/object_refcount.h>
#include <morbase/ptr_refcount.h>
#include <morbase/timecode.h>

namespace kivcore {

// Open it, select a track, and read its frames one by one.
class KIVCORE_API frame_reader : public reader {
  public:
    class media_information;
    class video_media_information;
    class audio_media_information;

    ~frame_reader() override;

    // How many tracks there are; 0 while nothing is open.
    virtual unsigned int track_count() = 0;

    // The record of a track, shared with the caller; null if there is no such track. Like every
    // object of a plug-in, it must be released before the factory.
    virtual morbase::ptr_refcount<media_information> track_information(unsigned int track) = 0;

    // Selects the track for the operations below. Returns 0 on success, negative if there is no
    // such track.
    virtual int select_track(unsigned int track) = 0;

    // The number of the frame that is read next; negative on failure.
    virtual long long tell_frame() = 0;

    // Moves to a frame, or to the end. Returns the new frame number, negative on failure.
    virtual long long seek_frame(long long frame) = 0;

    // Reads one frame into buffer, which has room for capacity bytes, and moves to the next
    // frame. Returns the number of bytes in the frame, 0 at the end, negative on failure or if
    // the frame does not fit. After a negative result the position is unchanged.
    virtual long long read_frame(void* buffer, unsigned long long capacity) = 0;

  protected:
    frame_reader();
};

// What is known about one track of any kind. Shared through ptr_refcount, and never changed. Use
// `type` or dynamic_cast to find out which kind it is.
class KIVCORE_API frame_reader::media_information : public morbase::object_refcount {
  public:
    // The underlying type is fixed, so that plug-ins may use values that are not listed.
    enum media_type : unsigned int {
        video = 0,
        audio = 1,
        meta = 2,
        text = 3,
        hint = 4,
        invalid = 5
    };

    // "Video", "Audio", "Meta", "Text", "Hint", "INVALID"; "" for any other value. The
    // text is static.
    static char const* media_type_to_c_str(media_type type) noexcept;

    ~media_information() override;

    // The record as lines of "label: value", each ending with a newline. The text is English and
    // for people; programs should read the fields. Raises std::bad_alloc; records of a plug-in's
    // own classes may raise other exceptions.
    virtual std::string describe() const = 0;

    media_type const type;  // an unlisted value is defined by the plug-in

  protected:
    // For derived classes, which know their kind.
    explicit media_information(media_type kind) noexcept;
};

// A track of pictures, each of them a frame.
class KIVCORE_API frame_reader::video_media_information : public media_information {
  public:
    // The fields below, in their order.
    video_media_information(unsigned int format, unsigned int frame_bytes, unsigned int frames,
                            float rate, morbase::timecode start, unsigned int width,
                            unsigned int height, float aspect_ratio, unsigned int fields) noexcept;
    ~video_media_information() override;

    std::string describe() const override;

    unsigned int const track_format;         // four-character code
    unsigned int const frame_data_size;      // bytes
    unsigned int const number_of_frames;     // of the whole track
    float const framerate;                   // frames per second
    morbase::timecode const start_timecode;  // of the first frame
    unsigned int const pixel_width;          // of a picture, in pixels
    unsigned int const pixel_height;         // of a picture, in pixels
    float const pixel_aspect_ratio;          // width of a pixel divided by its height
    unsigned int const field_order;          // defined by the plug-in
};

// A track of sound. A frame is a run of samples of every channel. The last frame of a track may
// be shorter than frame_data_size and samples_per_frame.
class KIVCORE_API frame_reader::audio_media_information : public media_information {
  public:
    // The fields below, in their order.
    audio_media_information(unsigned int format, unsigned int frame_bytes, unsigned int frames,
                            unsigned int frame_samples, unsigned int samples,
                            unsigned int channel_count, unsigned int sample_bits,
                            unsigned int eighth, float rate, int offset) noexcept;
    ~audio_media_information() override;

    std::string describe() const override;

    unsigned int const track_format;       // four-character code
    unsigned int const frame_data_size;    // bytes
    unsigned int const number_of_frames;   // of the whole track
    unsigned int const samples_per_frame;  // of one channel
    unsigned int const total_samples;      // of one channel
    unsigned int const channels;           // for example 2 for stereo
    unsigned int const bits_per_sample;    // of one channel
    unsigned int const eighth_value;  // reserved: stored, but has no meaning and is not printed
    float const sample_rate;          // samples per second
    int const offset_from_video;      // samples; the plug-in defines the sign
};

}  // namespace kivcore

#endif
