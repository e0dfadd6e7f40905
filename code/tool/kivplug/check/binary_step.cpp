#include "binary_step.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <string_view>

#include "bound_functions.h"
#include "image.h"
#include "library_graph.h"
#include "object_exports.h"
#include "object_linkage.h"
#include "object_place.h"
#include "wording.h"

namespace kivplug {

namespace {

// What a file without the signature of ELF seems to be, as the end of a sentence; empty if unknown.
std::string likeness_of(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::string start(64, '\0');
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(file.gcount()));
    struct {
        std::string_view signature;
        char const* name;
    } const known[] = {
        {"#!", "a script"},
        {"!<arch>\n", "a static library"},
        {"!<thin>\n", "a static library"},
        {"MZ", "a library or program of Windows"},
        {"\xcf\xfa\xed\xfe", "a library or program of macOS"},
        {"\xce\xfa\xed\xfe", "a library or program of macOS"},
        {"\xca\xfe\xba\xbe", "a library or program of macOS"},
        {"PK\x03\x04", "a zip archive"},
        {"\x1f\x8b", "a file compressed by gzip"},
        {"BC\xc0\xde", "bitcode of LLVM"},
        {"/* GNU ld script", "a script of the linker"},
        {"INPUT", "a script of the linker"},
        {"GROUP", "a script of the linker"},
        {"<", "XML or HTML"},
        {"version https://git-lfs", "a pointer of Git LFS"},
    };
    for (auto const& each : known) {
        if (start.compare(0, each.signature.size(), each.signature) == 0) {
            return each.name;
        }
    }
    bool const is_text = std::all_of(start.begin(), start.end(), [](char c) {
        return (c >= ' ' && c <= '~') || c == '\n' || c == '\t' || c == '\r';
    });
    return is_text ? "text" : "";
}

bool check_image(std::string const& path, findings& found) {
    auto const fault = fault_of_image(path);
    static std::map<image_fault_kind, int> const rules = {
        {image_fault_kind::not_regular, 303},   {image_fault_kind::empty, 305},
        {image_fault_kind::not_elf, 306},       {image_fault_kind::cut_short, 307},
        {image_fault_kind::other_machine, 309}, {image_fault_kind::only_debug, 308},
    };
    if (fault.kind == image_fault_kind::none) {
        return true;
    }
    auto problem = in_quotes(path) + " " + fault.problem;
    if (fault.kind == image_fault_kind::not_elf) {
        auto const likeness = likeness_of(path);
        problem += likeness.empty() ? "" : ", but " + likeness;
    }
    found.push_back({rules.at(fault.kind), {path}, problem, fault.repair});
    return false;
}

void report_malformed(std::string const& path, malformed const& fault, findings& found) {
    found.push_back({310,
                     {path},
                     in_quotes(path) + " is not a sound ELF file: it " + fault.what(),
                     "build it again, and copy it unchanged"});
}

// Reads the object; null when it cannot be read, which is then reported.
std::shared_ptr<elf_object const> read_object(std::string const& path, findings& found) {
    try {
        return std::make_shared<elf_object const>(path);
    } catch (not_shared const& fault) {
        found.push_back({308,
                         {path},
                         in_quotes(path) + " " + fault.what() + " and not a shared object",
                         "link it with -shared, or as a MODULE library of CMake"});
    } catch (malformed const& fault) {
        report_malformed(path, fault, found);
    }
    return nullptr;
}

}  // namespace

void check_binary(std::string const& directory, std::vector<described_plugin> const& plugins,
                  findings& found) {
    auto const path = object_path(directory);
    if (!check_object_place(directory, found) || !check_image(path, found)) {
        return;
    }
    auto const object = read_object(path, found);
    if (!object) {
        return;
    }
    try {
        auto const graph = graph_of(object);
        auto const bound = bound_names(plugins);
        check_linkage(graph, bound, found);
        bool const are_bound = check_bound_functions(graph, plugins, found);
        bool const are_known = std::none_of(plugins.begin(), plugins.end(),
                                            [](auto const& each) { return each.binds_more; });
        // Otherwise what is not bound may well be what should be.
        if (are_bound && are_known && !bound.empty()) {
            check_exports(*object, bound, found);
        }
        check_behaviour(*object, found);
    } catch (malformed const& fault) {
        report_malformed(path, fault, found);
    }
}

}  // namespace kivplug
