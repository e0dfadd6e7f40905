#include "collection.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace bench {

namespace {

constexpr char const* k_header = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

std::string element(int depth, std::string const& name, std::string const& text) {
    return std::string(static_cast<std::size_t>(depth) * 2, ' ') + "<" + name + ">" + text + "</" +
           name + ">\n";
}

std::string binding(std::string const& function, std::string const& symbol) {
    return "    <bind function=\"" + function + "\">" + symbol + "</bind>\n";
}

std::string c_bindings(std::string const& name, bool reads) {
    std::string lines;
    for (char const* function : {"open", "close", reads ? "read" : "write", "seek", "size"}) {
        lines += binding(function, name + "_" + function);
    }
    return reads ? lines : lines + binding("flush", name + "_flush");
}

// The sections of one plug-in element, with its tags.
std::string plugin_element(std::size_t number, bool native, bool reads) {
    static char const* const k_developers[] = {"acme", "acme-labs", "kivcore", "north.io"};
    std::size_t const family = number / 4;  // four versions of each plug-in
    std::string const name = "format" + std::to_string(family);
    std::string const version = std::to_string(number % 4) + "." + std::to_string(family % 12);
    std::string const developer = k_developers[family % 4];
    return "<plugin id=\"" + name + "\">\n  <!-- Reads and writes what it is named after. -->\n" +
           "  <interface>\n" + element(2, "category", "io") +
           element(2, "type", reads ? "read" : "write") + element(2, "key", name) +
           element(2, "flavor", native ? "native" : "c-style") +
           (native ? binding("create", name + "_create") : c_bindings(name, reads)) +
           "  </interface>\n  <info>\n" +
           element(2, "name", "Files of format " + std::to_string(family)) +
           element(2, "version", version) +
           element(2, "copyright", "Copyright (c) the authors of " + name) + "    <developer>\n" +
           element(3, "name", "The developers at " + developer) + element(3, "id", developer) +
           "    </developer>\n" +
           element(2, "description", "A plug-in for files of format " + std::to_string(family)) +
           "  </info>\n</plugin>\n";
}

std::string description(std::size_t number, mixture kind) {
    std::size_t const place = kind == mixture::k_mixed ? number / 4 % 10 : 0;
    if (place == 9) {
        return k_header + ("<bundle>\n" + plugin_element(number, false, true)) +
               plugin_element(number, false, false) + "</bundle>\n";
    }
    bool const native = place == 2 || place == 5 || place == 8;
    return k_header + plugin_element(number, native, true);
}

void write_directory(std::string const& dir, std::string const& text) {
    if (mkdir(dir.c_str(), S_IRWXU) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make " + dir);
    }
    std::ofstream file(dir + "/plugin.xml");
    if (!(file << text).flush()) {
        throw std::runtime_error("cannot write " + dir + "/plugin.xml");
    }
}

}  // namespace

scratch_directory::scratch_directory()
    : root(std::filesystem::temp_directory_path() / "kivcore_bench_XXXXXX") {
    if (mkdtemp(root.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make " + root);
    }
}

scratch_directory::~scratch_directory() {
    std::error_code ignored;  // anything left is in the directory for temporary files
    std::filesystem::remove_all(root, ignored);
}

void write_collection(std::string const& dir, std::size_t count, mixture kind) {
    for (std::size_t i = 0; i < count; ++i) {
        write_directory(dir + "/plugin" + std::to_string(i), description(i, kind));
    }
}

}  // namespace bench
