#include "search_path.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "failure.h"
#include "text.h"

namespace kivplug {

namespace {

// Empty fields are skipped: a stray colon would mean the current directory.
std::vector<std::string> directories_of_environment() {
    char const* const value = std::getenv("KIVPLUG_PATH");
    auto directories = split(value != nullptr ? value : "", ':');
    directories.erase(std::remove(directories.begin(), directories.end(), ""), directories.end());
    return directories;
}

// What is installed at this path relative to the program.
std::string installed(char const* from_bin, char const* advice) {
    std::error_code error;
    auto const program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        throw failure("cannot tell where kivplug is installed: " + error.message() + advice);
    }
    return (program.parent_path() / from_bin).lexically_normal().string();
}

}  // namespace

search_path chosen_path(std::vector<std::string> const& directories) {
    if (!directories.empty()) {
        return {directories, "given with -d"};
    }
    auto const named = directories_of_environment();
    if (!named.empty()) {
        return {named, "named in KIVPLUG_PATH"};
    }
    auto const own = installed(KIVPLUG_PLUGINS_FROM_BIN, "; name a plug-in directory with -d");
    return {{own}, "where this kivplug has its plug-ins"};
}

std::string installed_schema() {
    return installed(KIVPLUG_SCHEMA_FROM_BIN, "");
}

std::string installed_templates() {
    return installed(KIVPLUG_TEMPLATES_FROM_BIN, "");
}

}  // namespace kivplug
