#include <string>

#include <kivcore/kivcore.h>
#include <morbase/es.h>

namespace {

// Reads nothing: only its type and its exceptions matter.
class frames final : public kivcore::frame_reader {
  public:
    int open(std::string const& path, std::string const& /*mode*/) override {
        morbase::es::arg::raise(__FILE__, __LINE__, ("cannot open " + path).c_str());
    }
    int close() override { return 0; }
    long long read(void* /*buffer*/, unsigned long long /*count*/) override {
        morbase::es::call::raise(__FILE__, __LINE__, "the medium is gone");
    }
    long long seek(long long offset, morbase::whence /*origin*/) override { return offset; }
    unsigned int track_count() override { return 1; }
    morbase::ptr_refcount<media_information> track_information(unsigned int /*track*/) override {
        return new audio_media_information(0, 0, 0, 0, 0, 2, 16, 0, 48000.0F, 0);
    }
    int select_track(unsigned int /*track*/) override { return 0; }
    long long tell_frame() override { return 0; }
    long long seek_frame(long long frame) override { return frame; }
    long long read_frame(void* /*buffer*/, unsigned long long /*capacity*/) override { return 0; }
};

// Catches exceptions of the host's handler.
class alarm final : public kivcore::monitor {
  public:
    int start(std::string const& /*path*/, handler* sink) override {
        listener = sink;
        return 0;
    }
    int poll(int /*timeout_ms*/) override {
        try {
            listener->changed("path", handler::k_modified);
        } catch (morbase::es::unsupp const& refusal) {
            return std::string(refusal.what()) == "not by this host" ? -1 : -2;
        }
        return 1;
    }
    int stop() override { return 0; }

  private:
    handler* listener = nullptr;
};

}  // namespace

extern "C" {

[[gnu::visibility("default")]] kivcore::plugin* create_frames() {
    return new frames;
}

[[gnu::visibility("default")]] kivcore::plugin* create_alarm() {
    return new alarm;
}

[[gnu::visibility("default")]] kivcore::plugin* create_refusal() {
    morbase::es::call::raise(__FILE__, __LINE__, "the device is busy");
}
}
