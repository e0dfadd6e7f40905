#ifndef KIVCORE_FRAME_READER_H
#define KIVCORE_FRAME_READER_H

#include <string>

#include <kivcore/export.h>
#include <kivcore/reader.h>
#include <morbase/object_refcount.h>
#include <morbase/ptr_refcount.h>
#include <morbase/timecode.h>

namespace kivcore {

class KIVCORE_API frame_reader : public reader {
  public:
    class media_information;
    class video_media_information;
    class audio_media_information;

    ~frame_reader() override;

    virtual unsigned int track_count() = 0;

    virtual morbase::ptr_refcount<media_information> track_information(unsigned int track) = 0;

    virtual int select_track(unsigned int track) = 0;

    virtual long long tell_frame() = 0;

    virtual long long seek_frame(long long frame) = 0;

    virtual long long read_frame(void* buffer, unsigned long long capacity) = 0;

  protected:
    frame_reader();
};

class KIVCORE_API frame_reader::media_information : public morbase::object_refcount {
  public:
    enum media_type : unsigned int {
        video = 0,
        audio = 1,
        meta = 2,
        text = 3,
        hint = 4,
        invalid = 5
    };

    static char const* media_type_to_c_str(media_type type) noexcept;

    ~media_information() override;

    virtual std::string describe() const = 0;

    media_type const type;

  protected:
    explicit media_information(media_type kind) noexcept;
};

class KIVCORE_API frame_reader::video_media_information : public media_information {
  public:
    video_media_information(unsigned int format, unsigned int frame_bytes, unsigned int frames,
                            float rate, morbase::timecode start, unsigned int width,
                            unsigned int height, float aspect_ratio, unsigned int fields) noexcept;
    ~video_media_information() override;

    std::string describe() const override;

    unsigned int const track_format;
    unsigned int const frame_data_size;
    unsigned int const number_of_frames;
    float const framerate;
    morbase::timecode const start_timecode;
    unsigned int const pixel_width;
    unsigned int const pixel_height;
    float const pixel_aspect_ratio;
    unsigned int const field_order;
};

class KIVCORE_API frame_reader::audio_media_information : public media_information {
  public:
    audio_media_information(unsigned int format, unsigned int frame_bytes, unsigned int frames,
                            unsigned int frame_samples, unsigned int samples,
                            unsigned int channel_count, unsigned int sample_bits,
                            unsigned int eighth, float rate, int offset) noexcept;
    ~audio_media_information() override;

    std::string describe() const override;

    unsigned int const track_format;
    unsigned int const frame_data_size;
    unsigned int const number_of_frames;
    unsigned int const samples_per_frame;
    unsigned int const total_samples;
    unsigned int const channels;
    unsigned int const bits_per_sample;
    unsigned int const eighth_value;
    float const sample_rate;
    int const offset_from_video;
};

}  // namespace kivcore

#endif
