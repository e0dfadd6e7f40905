#include "notices.h"

#include <cstdio>

#include "description.h"

namespace kivcore {

namespace {

constexpr char const* k_no_element_name = "XML parse error";

// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): see notices
class printed final : public notices {
  public:
    void registering(std::string const& /*id*/) override {}
    void withdraw() override {}
    void skipping(std::string const& /*id*/) override {}

    void replacing(std::string const& id, plugins::info const& /*former*/) override {
        std::printf("Overriding plugin %s with native interface\n", id.c_str());
        std::fflush(stdout);
    }

    void refusing(std::string const& id, plugins::info const& /*holder*/) override {
        std::printf("Not inserting plugin %s in database (already present with native interface)\n",
                    id.c_str());
        std::fflush(stdout);
    }

    // The reader prints them by itself.
    void receive_reports(kivsys::xml::reader& /*document*/) override {}

    void element_without_name() override {
        std::puts(k_no_element_name);
        std::fflush(stdout);
    }

    void failed(char const* reason) noexcept override {
        std::fprintf(stderr, "failed to load plugin: %s\n", reason);
    }
};

}  // namespace

notices& printed_notices() {
    static printed lines;
    return lines;
}

void observed_notices::registering(std::string const& id) {
    events.emplace_back([this, id](load_observer& to) { to.registered(directory, id); });
}

void observed_notices::replacing(std::string const& id, plugins::info const& former) {
    events.emplace_back([this, id, path = value_of(former, k_path)](load_observer& to) {
        to.replaced(directory, id, path);
    });
}

void observed_notices::refusing(std::string const& id, plugins::info const& holder) {
    char const* const reason = value_of(holder, k_flavor) == k_native
                                   ? "already present with native interface"
                                   : "already present, and only a native plug-in replaces one that "
                                     "is not native";
    events.emplace_back([this, id, path = value_of(holder, k_path), reason](load_observer& to) {
        to.refused(directory, id, path, reason);
    });
}

void observed_notices::skipping(std::string const& id) {
    events.emplace_back([this, id](load_observer& to) {
        to.refused(directory, id, "", "an id before it in the same plug-in was refused");
    });
}

void observed_notices::receive_reports(kivsys::xml::reader& document) {
    document.set_report_handler(
        [this](int severity, std::string const& message, int line, int column) {
            events.emplace_back([=](load_observer& to) {
                to.xml_report(directory, severity, message, line, column);
            });
        });
}

void observed_notices::element_without_name() {
    failure = k_no_element_name;
}

void observed_notices::failed(char const* reason) noexcept {
    try {
        failure = reason;
    } catch (...) {
        // Out of memory: the reason stays unknown.
    }
}

void observed_notices::deliver(load_observer& observer, bool is_loaded) const noexcept {
    for (auto const& event : events) {
        call_observer([&] { event(observer); });
    }
    call_observer(
        [&] { is_loaded ? observer.loaded(directory) : observer.failed(directory, failure); });
}

}  // namespace kivcore
