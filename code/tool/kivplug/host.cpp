#include "host.h"

#include <morbase/path.h>

#include "failure.h"
#include "image.h"
#include "kind.h"
#include "loading.h"
#include "operation.h"
#include "search_path.h"
#include "text.h"

namespace kivplug {

namespace {

// The value of a key in the description of a registered id; empty when the key is missing.
std::string described(kivcore::plugins const& registry, std::string const& id,
                      std::string const& key) {
    return value_of(*registry.describe_plugin(id), key);
}

std::string plugin_directory(kivcore::plugins const& registry, std::string const& id) {
    return described(registry, id, "path");
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

void host::require_sound_image(std::string const& id) const {
    auto const directory = plugin_directory(*loaded, id);
    auto const path = morbase::path_appended(directory, "darwin/x86/plugin.so", '/');
    auto const fault = fault_of_image(path);
    if (fault.kind != image_fault_kind::none) {
        throw failure("no object of " + printable(id) + " can be made: " + quoted(path) + " " +
                      fault.problem + "; " + fault.repair);
    }
}

void host::fail_for_throw(std::string const& id) const {
    auto const reason = caught_text(
        "its create function", "; check darwin/x86/plugin.so and the bindings in plugin.xml there");
    throw failure("no object of " + printable(id) + " can be made from " +
                  quoted(plugin_directory(*loaded, id)) + ": " + reason);
}

// Makes the object once more, as one of any kind, to be able to say what it is.
void host::fail_for_object(std::string const& id, std::string const& wanted) const {
    morbase::ptr_refcount<kivcore::plugins::factory> maker;  // outlives the object
    auto const made = creating(id, [&] { return loaded->create_with_id(id, maker); });
    if (!maker) {
        fail_for_factory(*loaded, id);
    }
    if (!made) {
        throw failure("no object of " + printable(id) + " can be made from " +
                      quoted(plugin_directory(*loaded, id)) + ": its function " +
                      quoted(described(*loaded, id, "interface.bind.create")) +
                      " returned null; ask its developer why");
    }
    fail_for_kind(id, *made, wanted);
}

}  // namespace kivplug
