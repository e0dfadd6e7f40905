#include "host.h"

#include <map>

#include <kivcore/browser.h>
#include <kivcore/frame_reader.h>
#include <kivcore/monitor.h>
#include <kivcore/multi_file_reader.h>
#include <kivcore/plugin.h>
#include <kivcore/reader.h>
#include <kivcore/writer.h>
#include <morbase/path.h>

#include "failure.h"
#include "image.h"
#include "loading.h"
#include "operation.h"
#include "text.h"

namespace kivplug {

namespace {

// The most special interface of the object, whatever it calls itself; empty when it has none.
std::string interface_of(kivcore::plugin& object) {
    if (dynamic_cast<kivcore::frame_reader*>(&object) != nullptr) {
        return k_kind_frame_reader;
    }
    if (dynamic_cast<kivcore::multi_file_reader*>(&object) != nullptr) {
        return k_kind_multi_file_reader;
    }
    if (dynamic_cast<kivcore::reader*>(&object) != nullptr) {
        return kivcore::plugin::k_kind_reader;
    }
    if (dynamic_cast<kivcore::writer*>(&object) != nullptr) {
        return kivcore::plugin::k_kind_writer;
    }
    if (dynamic_cast<kivcore::browser*>(&object) != nullptr) {
        return kivcore::plugin::k_kind_browser;
    }
    return dynamic_cast<kivcore::monitor*>(&object) != nullptr ? kivcore::plugin::k_kind_monitor
                                                               : "";
}

// What an object of the interface says of itself in kind().
std::string kind_of(std::string const& interface) {
    bool const is_reader =
        interface == k_kind_frame_reader || interface == k_kind_multi_file_reader;
    return is_reader ? kivcore::plugin::k_kind_reader : interface;
}

// What to do with an object of this interface.
std::string advice_for(std::string const& interface) {
    static std::map<std::string, std::string> const advice = {
        {kivcore::plugin::k_kind_reader, "use 'kivplug read'"},
        {kivcore::plugin::k_kind_writer, "use 'kivplug write'"},
        {kivcore::plugin::k_kind_browser, "use 'kivplug browse'"},
        {kivcore::plugin::k_kind_monitor, "use 'kivplug watch'"},
        {k_kind_frame_reader, "use 'kivplug tracks', 'kivplug frames' or 'kivplug read'"},
        {k_kind_multi_file_reader, "use 'kivplug files' or 'kivplug read'"},
    };
    return advice.at(interface);
}

// What is wrong with an object of which this is known: it is not a `wanted`.
std::string fault_of(std::string const& kind, std::string const& interface,
                     std::string const& wanted) {
    if (interface.empty()) {
        return "makes objects that call themselves " + quoted(kind) +
               " and are none of what kivplug has verbs for" + k_report_fault;
    }
    if (kind != kind_of(interface)) {
        return "calls itself " + quoted(kind) + ", but is a " + interface + k_report_fault;
    }
    return "is a " + interface + ", not a " + wanted + "; " + advice_for(interface);
}

// The value of a key in the description of an id, empty without one.
std::string described(kivcore::plugins const& registry, std::string const& id,
                      std::string const& key) {
    auto const description = registry.describe_plugin(id);
    return description ? value_of(*description, key, "") : "";
}

std::string plugin_directory(kivcore::plugins const& registry, std::string const& id) {
    return described(registry, id, "path");
}

// Before the library opens it: a shared object that is cut short would end the program.
void require_sound_image(kivcore::plugins const& registry, std::string const& id) {
    auto const directory = plugin_directory(registry, id);
    auto const path = morbase::path_appended(directory, "darwin/x86/plugin.so", '/');
    auto const fault = image_fault(path);
    if (!fault.empty()) {
        throw failure("no object of " + printable(id) + " can be made: " + quoted(path) + " " +
                      fault);
    }
}

[[noreturn]] void fail_for_factory(kivcore::plugins const& registry, std::string const& id) {
    throw failure(printable(id) + " makes no objects: nothing serves the flavor " +
                  quoted(described(registry, id, "interface.flavor")) + ", category " +
                  quoted(described(registry, id, "interface.category")) + " and type " +
                  quoted(described(registry, id, "interface.type")) + "; in " +
                  quoted(plugin_directory(registry, id) + "/plugin.xml") +
                  ", use the flavor native, or c-style with io and read or write");
}

}  // namespace

host::host(std::vector<std::string> const& directories) {
    auto const path = chosen_path(directories);
    // The registry only derives the name of a schema from its root: any directory will do.
    loaded = new kivcore::plugins(path.directories.front());
    complete = load(*loaded, path);
}

std::string host::resolve(std::string const& wanted) const {
    if (loaded->describe_plugin(wanted)) {
        return wanted;
    }
    auto const matches = loaded->find_plugins(wanted);
    if (matches.empty()) {
        throw failure("no plug-in has the id " + quoted(wanted) +
                      ", or matches it as a pattern; 'kivplug list' shows the ids");
    }
    return matches.front();
}

void host::creating(std::string const& id, std::function<void()> const& create) const {
    require_sound_image(*loaded, id);
    auto const reason =
        thrown_by("its create function", create,
                  "; check darwin/x86/plugin.so and the bindings in plugin.xml there");
    if (reason) {
        throw failure("no object of " + printable(id) + " can be made from " +
                      quoted(plugin_directory(*loaded, id)) + ": " + *reason);
    }
}

// Makes the object once more, as one of any kind, to be able to say what it is.
void host::fail_for_kind(std::string const& id, std::string const& wanted) const {
    morbase::ptr_refcount<kivcore::plugins::factory> maker;  // outlives the object
    morbase::ptr_refcount<kivcore::plugin> made;
    creating(id, [&] { made = loaded->create_with_id(id, maker); });
    if (!maker) {
        fail_for_factory(*loaded, id);
    }
    if (!made) {
        throw failure("no object of " + printable(id) + " can be made from " +
                      quoted(plugin_directory(*loaded, id)) + ": its function " +
                      quoted(described(*loaded, id, "interface.bind.create")) +
                      " returned null; ask its developer why");
    }
    std::string kind;
    auto const ask = [&] { kind = made->kind(); };
    if (auto const reason = thrown_by("kind", ask, k_report_fault); reason) {
        throw failure(printable(id) + ": kind failed: " + *reason);
    }
    throw failure(printable(id) + " " + fault_of(kind, interface_of(*made), wanted));
}

std::string value_of(kivcore::plugins::info const& description, std::string const& key,
                     std::string const& absent) {
    std::string value = absent;
    description.get(key, value);
    return value;
}

}  // namespace kivplug
