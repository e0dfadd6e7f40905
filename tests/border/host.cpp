#include <cstdio>
#include <string>

#include <kivcore/kivcore.h>
#include <morbase/es.h>

namespace {

int failures = 0;

void expect(bool holds, char const* what) {
    if (!holds) {
        std::printf("does not hold: %s\n", what);
        ++failures;
    }
}

// Whether act raises exactly an Exception, not a derived class, with this message.
template <typename Exception, typename Action>
bool raises(char const* message, Action const& act) {
    try {
        act();
    } catch (Exception const& raised) {
        return message == std::string(raised.what()) && raised.line() > 0;
    } catch (...) {
    }
    return false;
}

class refusing_handler final : public kivcore::monitor::handler {
  public:
    void changed(std::string const& /*path*/, e_change /*change*/) override {
        morbase::es::unsupp::raise(__FILE__, __LINE__, "not by this host");
    }
};

using registry_ptr = morbase::ptr_refcount<kivcore::plugins>;

void expect_types(registry_ptr const& registry) {
    auto const frames = kivcore::create<kivcore::plugin>(registry, "io/read/frames/test/1");
    auto* const reader = dynamic_cast<kivcore::frame_reader*>(frames.get());
    expect(reader != nullptr, "a plugin is cast to the frame_reader that it is");
    expect(dynamic_cast<kivcore::reader*>(frames.get()) == reader, "... to reader");
    auto* const stream = dynamic_cast<morbase::stream::rda*>(frames.get());
    expect(stream == reader, "... to the stream");
    expect(dynamic_cast<kivcore::plugin*>(stream) == frames.get(), "... and back");
    expect(dynamic_cast<kivcore::browser*>(frames.get()) == nullptr, "no reader is a browser");
    expect(dynamic_cast<kivcore::multi_file_reader*>(frames.get()) == nullptr,
           "no frame_reader is a multi_file_reader");
    auto const track = reader != nullptr ? reader->track_information(0) : nullptr;
    using audio = kivcore::frame_reader::audio_media_information;
    auto const* const record = dynamic_cast<audio const*>(track.get());
    expect(record != nullptr && record->channels == 2, "a record is cast to its kind");
}

void expect_exceptions(registry_ptr const& registry) {
    using namespace morbase;
    auto const refused = [&] { registry->create_with_id("io/read/refusal/test/1"); };
    expect(raises<es::call>("the device is busy", refused), "a create function raises a call");
    expect(raises<es::base>("the device is busy", refused), "... which is a base");
    expect(!raises<es::arg>("the device is busy", refused), "... and no arg");

    auto const frames = kivcore::create<kivcore::reader>(registry, "io/read/frames/test/1");
    expect(raises<es::arg>("cannot open file", [&] { frames->open("file", "r"); }), "open raises");
    stream::rda& stream = *frames;
    expect(raises<es::call>("the medium is gone", [&] { stream.read(nullptr, 0); }),
           "a stream raises");

    refusing_handler sink;
    auto const alarm = kivcore::create<kivcore::monitor>(registry, "io/monitor/alarm/test/1");
    alarm->start("", &sink);
    expect(alarm->poll(0) == -1, "a plug-in catches what the host's handler raises");
}

}  // namespace

int main(int count, char** arguments) {
    registry_ptr const registry(new kivcore::plugins(""));
    if (count != 2 || !registry->load_plugin(arguments[1])) {
        std::puts("usage: host PLUGIN_DIR");
        return 2;
    }
    expect_types(registry);
    if (failures == 0) {  // otherwise there may be no objects to call
        expect_exceptions(registry);
    }
    return failures == 0 ? 0 : 1;
}
