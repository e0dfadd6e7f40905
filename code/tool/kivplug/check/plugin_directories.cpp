#include "plugin_directories.h"

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <morbase/path.h>

#include "descriptor.h"
#include "failure.h"
#include "missing_description.h"
#include "shared/directory.h"
#include "text.h"

namespace kivplug {

namespace {

std::vector<std::string> sorted_entries(std::string const& directory) {
    bundled::directory_handle const opened(opendir(directory.c_str()));
    std::vector<std::string> names;
    auto const add = [&](dirent const& entry) { names.emplace_back(entry.d_name); };
    int const error = opened ? bundled::visit_entries(opened, add) : errno;
    if (error != 0) {
        throw failure("cannot open the directory " + quoted(directory) + ": " + error_text(error) +
                      "; make it readable");
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool is_directory(std::string const& path) {
    std::error_code unknown;
    return std::filesystem::is_directory(path, unknown);
}

bool has_description(std::string const& directory) {
    std::error_code unknown;
    return std::filesystem::exists(directory + "/plugin.xml", unknown);
}

bool is_object(std::string const& name) {
    constexpr std::string_view k_end = ".so";
    return name.size() >= k_end.size() &&
           name.compare(name.size() - k_end.size(), k_end.size(), k_end) == 0;
}

// Whether the directory has what belongs in a plug-in directory, if not all of it. A lone shared
// object may also be beside plug-in directories.
bool is_plugin_directory(std::string const& directory, std::vector<std::string> const& names) {
    bool const is_meant = std::any_of(names.begin(), names.end(), [](std::string const& name) {
        return name == "plugin.xml" || strcasecmp(name.c_str(), "darwin") == 0;
    });
    if (is_meant || !misnamed_description(directory).empty()) {
        return true;
    }
    return std::any_of(names.begin(), names.end(), is_object) &&
           std::none_of(names.begin(), names.end(), [&](std::string const& name) {
               return has_description(morbase::path_appended(directory, name, '/'));
           });
}

// What a host would load, and hidden plug-in directories, which it skips. A link may lead
// nowhere.
bool may_be_plugin(std::string const& directory, std::string const& name) {
    auto const path = morbase::path_appended(directory, name, '/');
    std::error_code unknown;
    if (name[0] == '.') {
        return name != "." && name != ".." && has_description(path);
    }
    return is_directory(path) ||
           std::filesystem::is_symlink(std::filesystem::symlink_status(path, unknown));
}

}  // namespace

std::vector<std::string> plugin_directories(std::string const& directory) {
    std::error_code unknown;
    if (std::filesystem::exists(directory, unknown) && !is_directory(directory)) {
        return {directory};
    }
    auto const names = sorted_entries(directory);
    if (is_plugin_directory(directory, names)) {
        return {directory};
    }
    std::vector<std::string> found;
    for (auto const& name : names) {
        if (may_be_plugin(directory, name)) {
            found.push_back(morbase::path_appended(directory, name, '/'));
        }
    }
    return found.empty() ? std::vector<std::string>{directory} : found;
}

}  // namespace kivplug
