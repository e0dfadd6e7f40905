#include "plugin_directories.h"

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include <morbase/path.h>

#include "descriptor.h"
#include "failure.h"
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

// What only a plug-in directory has.
bool marks_plugin(std::string const& name) {
    auto const ends_in = [&](std::string const& end) {
        return name.size() >= end.size() &&
               strcasecmp(name.c_str() + name.size() - end.size(), end.c_str()) == 0;
    };
    return ends_in(".xml") || ends_in(".so") || strcasecmp(name.c_str(), "darwin") == 0;
}

bool is_directory(std::string const& path) {
    std::error_code unknown;
    return std::filesystem::is_directory(path, unknown);
}

// What a host would load, and hidden plug-in directories, which it passes over. A link may lead
// nowhere.
bool may_be_plugin(std::string const& directory, std::string const& name) {
    auto const path = morbase::path_appended(directory, name, '/');
    std::error_code unknown;
    if (name[0] == '.') {
        return name != "." && name != ".." &&
               std::filesystem::exists(path + "/plugin.xml", unknown);
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
    if (std::any_of(names.begin(), names.end(), marks_plugin)) {
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
