#include "morbase/path.h"

#include <cstddef>

namespace morbase {

std::string path_appended(std::string const& directory, std::string const& name, char separator) {
    if (directory.empty()) {
        return name;
    }
    // npos + 1 is 0, so a directory of separators only becomes empty here and gets one below.
    std::string path = directory.substr(0, directory.find_last_not_of(separator) + 1);
    path += separator;
    std::size_t const start = name.find_first_not_of(separator);
    if (start != std::string::npos) {
        path.append(name, start);
    }
    return path;
}

}  // namespace morbase
