#include "host.h"

#include <dirent.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <system_error>

#include <kivcore/frame_reader.h>
#include <kivcore/multi_file_reader.h>
#include <kivcore/plugin.h>
#include <morbase/path.h>

#include "failure.h"
#include "image.h"
#include "operation.h"
#include "text.h"

namespace kivplug {

namespace {

namespace fs = std::filesystem;

constexpr char const* k_mend = "mend its plugin.xml, the message above says what is wrong";

struct close_directory {
    void operator()(DIR* directory) const { closedir(directory); }
};

struct search_path {
    std::vector<std::string> directories;
    std::string origin;  // who named them, for messages
};

// Empty fields are passed over: a stray colon would stand for the current directory.
std::vector<std::string> directories_of_environment() {
    char const* const value = std::getenv("KIVPLUG_PATH");
    std::istringstream fields(value != nullptr ? value : "");
    std::vector<std::string> directories;
    for (std::string field; std::getline(fields, field, ':');) {
        if (!field.empty()) {
            directories.push_back(field);
        }
    }
    return directories;
}

std::string own_plugin_directory() {
    std::error_code error;
    auto const program = fs::read_symlink("/proc/self/exe", error);
    if (error) {
        throw failure("cannot tell where kivplug is installed: " + error.message() +
                      "; name a plug-in directory with -d");
    }
    return (program.parent_path() / KIVPLUG_PLUGINS_FROM_BIN).lexically_normal().string();
}

search_path chosen_path(std::vector<std::string> const& directories) {
    if (!directories.empty()) {
        return {directories, "given with -d"};
    }
    auto const named = directories_of_environment();
    if (!named.empty()) {
        return {named, "named in KIVPLUG_PATH"};
    }
    return {{own_plugin_directory()}, "where this kivplug has its plug-ins"};
}

// The library passes over a directory that it cannot open without a word.
void require_readable(std::string const& directory, std::string const& origin) {
    std::unique_ptr<DIR, close_directory> const opened(opendir(directory.c_str()));
    if (!opened) {
        throw failure("cannot open the directory " + quoted(directory) + ", " + origin + ": " +
                      std::generic_category().message(errno) +
                      "; name a readable directory of plug-ins with -d");
    }
}

// What the most special interface of the object is called: kind() knows only the four
// that others derive from.
std::string interface_of(kivcore::plugin& object) {
    if (dynamic_cast<kivcore::frame_reader*>(&object) != nullptr) {
        return k_kind_frame_reader;
    }
    if (dynamic_cast<kivcore::multi_file_reader*>(&object) != nullptr) {
        return k_kind_multi_file_reader;
    }
    return object.kind();
}

// What to do with an object of this kind.
std::string advice_for(std::string const& kind) {
    static std::map<std::string, std::string> const advice = {
        {kivcore::plugin::k_kind_reader, "use 'kivplug read'"},
        {kivcore::plugin::k_kind_writer, "use 'kivplug write'"},
        {kivcore::plugin::k_kind_browser, "use 'kivplug browse'"},
        {kivcore::plugin::k_kind_monitor, "use 'kivplug watch'"},
        {k_kind_frame_reader, "use 'kivplug tracks', 'kivplug frames' or 'kivplug read'"},
        {k_kind_multi_file_reader, "use 'kivplug files' or 'kivplug read'"},
    };
    auto const found = advice.find(kind);
    return found != advice.end() ? found->second
                                 : "'kivplug list' shows the plug-ins that there are";
}

std::string plugin_directory(kivcore::plugins const& registry, std::string const& id) {
    auto const description = registry.describe_plugin(id);
    return description ? value_of(*description, "path", "") : "";
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

}  // namespace

host::host(std::vector<std::string> const& directories) {
    auto const path = chosen_path(directories);
    // The registry only derives the name of a schema from its root: any directory will do.
    loaded = new kivcore::plugins(path.directories.front());
    for (auto const& directory : path.directories) {
        load(directory, path.origin);
    }
}

void host::load(std::string const& directory, std::string const& origin) const {
    require_readable(directory, origin);
    std::error_code unknown;  // what cannot be looked at is left to the library's notices
    if (!fs::exists(fs::path(directory) / "plugin.xml", unknown)) {
        load_each(directory);
        return;
    }
    if (!loaded->load_plugin(directory)) {
        throw failure("cannot load the plug-in directory " + quoted(directory) + ", " + origin +
                      "; " + k_mend);
    }
}

// As load_plugins, but one by one: the library's line on a failure need not name the
// directory. One that fails keeps nobody from using the others.
void host::load_each(std::string const& directory) const {
    for (auto const& found : fs::directory_iterator(directory)) {
        auto const name = found.path().filename().string();
        std::error_code unknown;  // what a link leads to is left to the library to find out
        if (name.front() == '.' || !(found.is_directory(unknown) || found.is_symlink(unknown))) {
            continue;
        }
        auto const path = morbase::path_appended(directory, name, '/');
        if (!loaded->load_plugin(path)) {
            std::fprintf(stderr, "kivplug: %s did not load whole; %s\n", quoted(path).c_str(),
                         k_mend);
        }
    }
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
    if (auto const reason = thrown_by(create); reason) {
        throw failure("no object of " + printable(id) + " can be made from " +
                      quoted(plugin_directory(*loaded, id)) + ": " + *reason +
                      "; check darwin/x86/plugin.so and the bindings in plugin.xml there");
    }
}

// Makes the object once more, as one of any kind, to be able to say what it is.
void host::fail_for_kind(std::string const& id, std::string const& wanted) const {
    kivcore::instance<kivcore::plugin> made;
    std::string kind;
    creating(id, [&] {
        made = kivcore::create<kivcore::plugin>(loaded, id);
        kind = made ? interface_of(*made) : "";
    });
    if (!made) {
        throw failure(printable(id) + " makes no objects; check the flavor, category and type in " +
                      quoted(plugin_directory(*loaded, id) + "/plugin.xml"));
    }
    throw failure(printable(id) + " is a " + kind + ", not a " + wanted + "; " + advice_for(kind));
}

std::string value_of(kivcore::plugins::info const& description, std::string const& key,
                     std::string const& absent) {
    std::string value = absent;
    description.get(key, value);
    return value;
}

}  // namespace kivplug
