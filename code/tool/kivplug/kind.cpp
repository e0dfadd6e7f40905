#include "kind.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <kivcore/browser.h>
#include <kivcore/frame_reader.h>
#include <kivcore/monitor.h>
#include <kivcore/multi_file_reader.h>
#include <kivcore/reader.h>
#include <kivcore/writer.h>

#include "failure.h"
#include "operation.h"
#include "text.h"

namespace kivplug {

namespace {

using kivcore::plugin;

struct interface {
    std::string name;
    std::string kind;  // what kind() of its objects returns
    char const* advice;
    bool (*is_of)(plugin& object);
};

template <typename type>
bool is_a(plugin& object) {
    return dynamic_cast<type*>(&object) != nullptr;
}

// The more special ones first.
std::vector<interface> const& interfaces() {
    static std::vector<interface> const known = {
        {k_kind_frame_reader, plugin::k_kind_reader,
         "use 'kivplug tracks', 'kivplug frames' or 'kivplug read'", is_a<kivcore::frame_reader>},
        {k_kind_multi_file_reader, plugin::k_kind_reader, "use 'kivplug files' or 'kivplug read'",
         is_a<kivcore::multi_file_reader>},
        {plugin::k_kind_reader, plugin::k_kind_reader, "use 'kivplug read'", is_a<kivcore::reader>},
        {plugin::k_kind_writer, plugin::k_kind_writer, "use 'kivplug write'",
         is_a<kivcore::writer>},
        {plugin::k_kind_browser, plugin::k_kind_browser, "use 'kivplug browse'",
         is_a<kivcore::browser>},
        {plugin::k_kind_monitor, plugin::k_kind_monitor, "use 'kivplug watch'",
         is_a<kivcore::monitor>},
    };
    return known;
}

// The most special interface of the object, whatever it calls itself; null when it has none.
interface const* interface_of(plugin& object) {
    auto const& known = interfaces();
    auto const found = std::find_if(known.begin(), known.end(),
                                    [&](interface const& each) { return each.is_of(object); });
    return found != known.end() ? &*found : nullptr;
}

std::string said_kind(std::string const& id, plugin& made) {
    try {
        return made.kind();
    } catch (...) {
        throw failure(printable(id) + ": kind failed: " + caught_text("kind", k_report_fault));
    }
}

}  // namespace

bool is_kind(std::string const& kind) {
    auto const& known = interfaces();
    return std::any_of(known.begin(), known.end(),
                       [&](interface const& each) { return each.kind == kind; });
}

bool is_of_kind(plugin& object, std::string const& kind) {
    auto const& known = interfaces();
    return std::any_of(known.begin(), known.end(), [&](interface const& each) {
        return each.kind == kind && each.is_of(object);
    });
}

std::string kind_of_type(std::string const& category, std::string const& type) {
    static std::pair<char const*, std::string const&> const known[] = {
        {"read", plugin::k_kind_reader},
        {"write", plugin::k_kind_writer},
        {"browse", plugin::k_kind_browser},
        {"monitor", plugin::k_kind_monitor},
    };
    for (auto const& [name, kind] : known) {
        if (category == "io" && type == name) {
            return kind;
        }
    }
    return "";
}

std::string interface_name(plugin& object) {
    auto const* const known = interface_of(object);
    return known != nullptr ? known->name : "";
}

void fail_for_kind(std::string const& id, plugin& made, std::string const& wanted) {
    auto const kind = said_kind(id, made);
    interface const* const known = interface_of(made);
    if (known == nullptr) {
        throw failure(printable(id) + " makes objects that call themselves " + quoted(kind) +
                      " and are none of what kivplug has verbs for" + k_report_fault);
    }
    if (kind != known->kind) {
        throw failure(printable(id) + " calls itself " + quoted(kind) + ", but is a " +
                      known->name + k_report_fault);
    }
    throw wrong_kind(printable(id) + " is a " + known->name + ", not a " + wanted, known->advice,
                     known->name);
}

}  // namespace kivplug
