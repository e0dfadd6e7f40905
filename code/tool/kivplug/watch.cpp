#include "watch.h"

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <kivcore/monitor.h>

#include "json.h"
#include "notices.h"
#include "operation.h"
#include "text.h"

namespace kivplug {

namespace {

// A signal that comes just before the wait begins is noticed at its end.
constexpr int k_longest_wait_ms = 200;

// All that a signal handler may write to.
std::sig_atomic_t volatile interrupted = 0;

extern "C" void note_interruption(int /*signal*/) {
    interrupted = 1;
}

// The first signal asks the program to end; a second one ends it, should a plug-in not return.
void catch_once(int number) {
    struct sigaction previous {};
    struct sigaction action {};
    action.sa_handler = note_interruption;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(number, &action, &previous);
    if (previous.sa_handler == SIG_IGN) {
        sigaction(number, &previous, nullptr);  // whoever started the program wants it so
    }
}

struct free_text {
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): what vasprintf makes
    void operator()(char* text) const { std::free(text); }
};

// Collects lines: writing them may raise, which must not happen inside a plug-in.
class event_lines final : public kivcore::monitor::handler {
  public:
    event_lines(std::string watched_path, bool as_json)
        : path(std::move(watched_path)), json(as_json) {}

    void changed(std::string const& changed_path, e_change change) override {
        switch (change) {
            case k_created:
                return add("created", changed_path);
            case k_modified:
                return add("modified", changed_path);
            case k_removed:
                return add("removed", changed_path);
        }
        add("changed", changed_path);
    }

    // As the handler's own, but without commands to a terminal.
    void log(kivsys::_severity::severity severity, char const* format, ...) override
        __attribute__((format(printf, 3, 4))) {
        std::va_list arguments;
        va_start(arguments, format);
        char* text = nullptr;
        int const length = format != nullptr ? vasprintf(&text, format, arguments) : -1;
        va_end(arguments);
        if (length >= 0) {
            std::unique_ptr<char, free_text> const owned(text);
            print_text("<" + std::string(kivsys::cstr_with_severity(severity)) + "> " +
                       printable(owned.get()) + "\n");
        }
    }

    void terminate() override {
        add("terminated", path);
        has_ended = true;
    }

    bool ended() const noexcept { return has_ended; }

    void print(byte_sink& out) {
        out.write(lines);
        lines.clear();
    }

  private:
    static std::string json_of(std::string const& event, std::string const& where) {
        json_object object;
        object.add("event", event);
        object.add("path", where);
        return object.text();
    }

    void add(std::string const& event, std::string const& where) {
        lines += (json ? json_of(event, where) : event + " " + printable(where)) + '\n';
    }

    std::string path;
    std::string lines;
    bool json;
    bool has_ended = false;
};

}  // namespace

void watch(host const& from, byte_sink& out, view_options const& options) {
    place const where{from.resolve(options.id), options.path};
    // Outlives the monitor, which calls it until stop.
    event_lines events(options.path, options.json);
    auto const source = from.create<kivcore::monitor>(where.id, kivcore::plugin::k_kind_monitor);
    catch_once(SIGINT);
    catch_once(SIGTERM);
    checked(where, {"start", "; check that it is there and of the kind that this plug-in watches"},
            [&] { return source->start(options.path, &events); });
    say("watching " + quoted(options.path) + " until interrupted");
    while (interrupted == 0 && !events.ended()) {
        checked(where, {"poll", "; check that it is still there, and start again"},
                [&] { return source->poll(k_longest_wait_ms); });
        events.print(out);
    }
    // What it reported since the last poll is printed too.
    checked(where, {"stop", k_report_fault}, [&] { return source->stop(); });
    events.print(out);
}

}  // namespace kivplug
