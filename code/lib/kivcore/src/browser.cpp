#include "kivcore/browser.h"

namespace kivcore {

browser::~browser() = default;

std::string browser::kind() {
    return k_kind_browser;
}

std::pair<browser::entry_list, browser::entry_list> browser::list(std::string const& path) {
    std::pair<entry_list, entry_list> result;
    get_list(path, &result.first, &result.second);
    return result;
}

browser::entry_list browser::list_dirs(std::string const& path) {
    entry_list dirs;
    get_list(path, &dirs, nullptr);
    return dirs;
}

browser::entry_list browser::list_files(std::string const& path) {
    entry_list files;
    get_list(path, nullptr, &files);
    return files;
}

std::map<std::string, std::string> browser::info(std::string const& path) {
    std::map<std::string, std::string> result;
    get_info(path, result);
    return result;
}

std::string browser::url(std::string const& path) {
    std::string result;
    get_url(path, result);
    return result;
}

}  // namespace kivcore
