// The input is a plugin.xml. Its directory is loaded into a registry, and every plug-in
// that it registers is described and created.

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include <kivcore/kivcore.h>
#include <morbase/es.h>
#include <support/files.h>

#include "input.h"

namespace {

using info_ptr = morbase::ptr_refcount<kivcore::plugins::info>;

constexpr char const* k_everything = "(?s).*";

// A plug-in directory among the temporary files, with a built shared object.
struct plugin_directory {
    plugin_directory() {
        std::filesystem::create_directories(files.path("darwin/x86"));
        std::filesystem::create_symlink(FUZZED_PLUGIN "/darwin/x86/plugin.so",
                                        files.path("darwin/x86/plugin.so"));
        // Held open: opening it once for each input would take most of the time.
        held_open.load();
    }

    support::temporary_directory files;
    kivcore::loader held_open{FUZZED_PLUGIN "/darwin/x86/plugin.so"};
};

// Creating a native plug-in calls whatever function its description names, so only names of
// create functions are allowed. C-style functions are only bound, not called.
bool may_be_created(info_ptr const& description) {
    return value_of(*description, "interface.flavor") != "native" ||
           value_of(*description, "interface.bind.create").rfind("native_create", 0) == 0;
}

void check_keys(info_ptr const& description) {
    std::vector<std::string> keys;
    fuzz::require(description->find(k_everything, keys), "a description has keys");
    fuzz::require(std::is_sorted(keys.begin(), keys.end()), "keys are in ascending order");
    std::string value;
    for (std::string const& key : keys) {
        fuzz::require(description->get(key, value), "every key that is found has a value");
    }
}

void check_id(info_ptr const& description, std::string const& id) {
    std::string const start = value_of(*description, "interface.category") + '/' +
                              value_of(*description, "interface.type") + '/';
    std::string const end = '/' + value_of(*description, "info.developer.id") + '/' +
                            value_of(*description, "info.version");
    fuzz::require(id.size() >= start.size() + end.size() && id.rfind(start, 0) == 0 &&
                      id.compare(id.size() - end.size(), end.size(), end) == 0,
                  "an id consists of its description's values");
    std::string const key = id.substr(start.size(), id.size() - start.size() - end.size());
    auto const keys = fuzz::parts_of(value_of(*description, "interface.key"), '|');
    fuzz::require(std::count(keys.begin(), keys.end(), key) > 0, "an id contains one of the keys");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static plugin_directory const directory;
    directory.files.write("plugin.xml", fuzz::text_of(data, size));

    kivcore::plugins registry("");
    registry.load_plugin(directory.files.path());
    for (std::string const& id : registry.find_plugins(k_everything)) {
        info_ptr const description = registry.describe_plugin(id);
        fuzz::require(static_cast<bool>(description), "every plug-in that is found is described");
        check_keys(description);
        check_id(description, id);
        try {
            if (may_be_created(description)) {
                registry.create_with_id(id);
            }
        } catch (morbase::es::base const&) {
            continue;  // a missing function
        } catch (std::runtime_error const&) {
            continue;  // from native_create_throwing
        }
    }
    return 0;
}
