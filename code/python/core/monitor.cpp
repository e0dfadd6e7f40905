#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <kivcore/monitor.h>

#include "object.h"
#include "text.h"

namespace binding {

namespace {

struct free_text {
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): what vasprintf makes
    void operator()(char* made) const { std::free(made); }
};

// Collects what a monitor reports, without the GIL and without an exception into the plug-in.
class collector final : public kivcore::monitor::handler {
  public:
    struct collected {
        std::vector<std::pair<int, std::string>> changes;
        std::vector<std::pair<int, std::string>> logged;
        bool ended = false;
        bool lost = false;  // memory ran out
    };

    void changed(std::string const& path, e_change change) override {
        add(events.changes, change, path);
    }

    void log(kivsys::_severity::severity severity, char const* format, ...) override
        __attribute__((format(printf, 3, 4))) {
        std::va_list arguments;
        va_start(arguments, format);
        char* made = nullptr;
        int const length = format != nullptr ? vasprintf(&made, format, arguments) : -1;
        va_end(arguments);
        if (length >= 0) {
            std::unique_ptr<char, free_text> const owned(made);
            add(events.logged, static_cast<int>(severity), owned.get());
        }
    }

    void terminate() override { events.ended = true; }

    collected take() { return std::exchange(events, {}); }

  private:
    template <typename text_type>
    void add(std::vector<std::pair<int, std::string>>& to, int number, text_type const& added) {
        try {
            to.emplace_back(number, added);
        } catch (...) {
            events.lost = true;  // raised as MemoryError after the plug-in's call
        }
    }

    collected events;
};

py::list list_of(std::vector<std::pair<int, std::string>> const& pairs, bool are_paths) {
    py::list list;
    for (auto const& [number, said] : pairs) {
        list.append(py::make_tuple(number, are_paths ? path_text(said) : text(said)));
    }
    return list;
}

class monitor {
  public:
    explicit monitor(std::shared_ptr<object> of)
        : held(std::move(of)), target(held->as<kivcore::monitor>()) {}

    // The collector must not be called any more.
    ~monitor() {
        try {
            stop();
        } catch (...) {  // nobody is left to hear of it
        }
    }
    monitor(monitor const&) = delete;
    monitor& operator=(monitor const&) = delete;

    long long start(std::string const& path) {
        return held->call_to_open("start", [&] { return target.start(path, &sink); });
    }

    // The plug-in's result, the changes, the lines it logged, and whether it has ended.
    py::tuple poll(int timeout_ms) {
        auto const [result, events] = held->call_open("poll", [&] {
            int const polled = target.poll(timeout_ms);
            return std::make_pair(polled, sink.take());
        });
        if (events.lost) {
            throw std::bad_alloc();
        }
        return py::make_tuple(result, list_of(events.changes, true), list_of(events.logged, false),
                              events.ended);
    }

    // Stopping a stopped monitor does nothing.
    long long stop() {
        return held->call_to_close("stop", [&] { return target.stop(); });
    }

    bool closed() const { return !held->is_open(); }

  private:
    collector sink;  // outlives the monitor
    std::shared_ptr<object> const held;
    kivcore::monitor& target;
};

}  // namespace

void bind_monitor(py::module_& module) {
    py::class_<monitor>(module, "Monitor", "Reports changes.")
        .def(py::init<std::shared_ptr<object>>())
        .def("start", &monitor::start)
        .def("poll", &monitor::poll)
        .def("stop", &monitor::stop)
        .def_property_readonly("closed", &monitor::closed);
}

}  // namespace binding
