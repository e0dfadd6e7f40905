#include "loading.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>
#include <string>

#include <libxml/xmlreader.h>

#include <kivcore/kivcore.h>

namespace bench {

namespace {

struct close_directory {
    void operator()(DIR* open) const noexcept { closedir(open); }
};

struct free_reader {
    void operator()(xmlTextReader* reader) const noexcept { xmlFreeTextReader(reader); }
};

bool walk_file(std::string const& path) {
    std::unique_ptr<xmlTextReader, free_reader> const reader(
        xmlNewTextReaderFilename(path.c_str()));
    if (!reader) {
        return false;
    }
    int result = 1;
    while (result == 1) {
        result = xmlTextReaderRead(reader.get());
    }
    return result == 0;
}

bool read_file(std::string const& path) {
    int const file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    char bytes[4096];
    ssize_t got = 1;
    while (got > 0) {
        got = read(file, bytes, sizeof bytes);
    }
    close(file);
    return got == 0;
}

template <typename step>
std::size_t for_each_description(std::string const& dir, step const& once) {
    std::unique_ptr<DIR, close_directory> const open(opendir(dir.c_str()));
    if (!open) {
        throw std::runtime_error("cannot open " + dir);
    }
    std::size_t count = 0;
    while (dirent const* found = readdir(open.get())) {
        if (found->d_name[0] != '.') {
            count += once(dir + "/" + found->d_name + "/plugin.xml") ? 1U : 0U;
        }
    }
    return count;
}

}  // namespace

std::size_t load_by(std::string const& way, std::string const& dir) {
    if (way == "walk") {
        return for_each_description(dir, walk_file);
    }
    if (way == "bytes") {
        return for_each_description(dir, read_file);
    }
    if (way != "kivcore") {
        throw std::runtime_error("there is no way to load called " + way);
    }
    // Exists until the process ends, because destroying a registry is not part of loading.
    static morbase::ptr_refcount<kivcore::plugins> const registry(new kivcore::plugins("/"));
    return static_cast<std::size_t>(registry->load_plugins(dir));
}

}  // namespace bench
