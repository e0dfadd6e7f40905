#include "object_linkage.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <string_view>
#include <unordered_map>

namespace kivplug {

namespace {

constexpr std::size_t k_most_findings = 20;  // of one kind

// What a sanitizer or a count of coverage adds: the host that is built likewise has it.
bool is_of_instrumentation(std::string_view name) {
    constexpr std::string_view k_starts[] = {
        "__asan_",  "__ubsan_",     "__tsan_", "__lsan_", "__msan_",       "__hwasan_",
        "__dfsan_", "__sanitizer_", "__gcov_", "__llvm_", "__interceptor_"};
    return std::any_of(std::begin(k_starts), std::end(k_starts),
                       [=](auto start) { return name.substr(0, start.size()) == start; });
}

// ", which "b" needs, which ..." up to the library that the object itself needs.
std::string way_to(library_graph const& graph, std::size_t node) {
    std::string text;
    for (; graph.nodes[node].parent != node; node = graph.nodes[node].parent) {
        text += (text.empty() ? "" : ", which is needed by ") + in_quotes(graph.nodes[node].name);
    }
    return text;
}

std::string tried_text(missing_library const& missing) {
    if (missing.name.find('/') != std::string::npos) {
        return "is not there";
    }
    auto const& tried = missing.search.tried;
    std::string text = "is not found in ";
    for (auto const& each : tried) {
        text += in_quotes(each) + (&each == &tried.back() ? " or " : ", ");
    }
    return text + "the system's directories of libraries";
}

// A library beside the object, where nothing looks for it; empty without one.
std::string library_beside(elf_object const& object, std::string const& name) {
    auto const file = std::filesystem::path(object.path());
    for (auto const& directory : {file.parent_path(), file.parent_path() / "../.."}) {
        std::error_code unknown;
        auto const path = (directory / name).lexically_normal();
        if (std::filesystem::is_regular_file(path, unknown)) {
            return path.string();
        }
    }
    return "";
}

void report_missing(library_graph const& graph, missing_library const& missing, findings& found) {
    auto const& object = *graph.nodes.front().object;
    auto const way = way_to(graph, missing.parent);
    bool const is_direct = way.empty();
    auto const beside = library_beside(object, missing.name);
    std::string const end = missing.search.unusable.empty() ? "" : "; " + missing.search.unusable;
    found.push_back({is_direct ? 320 : 321,
                     {object.path(), 0, 0, missing.name},
                     "the library " + in_quotes(missing.name) + ", which is needed by " +
                         (is_direct ? "the shared object" : way) + ", " + tried_text(missing) + end,
                     beside.empty() || !missing.search.unusable.empty()
                         ? "install the library, or link with -Wl,-rpath and the directory that "
                           "it is in"
                         : "link with -Wl,-rpath,'$ORIGIN' or a way from there, for the linker to "
                           "look for " +
                               in_quotes(beside)});
}

std::string library_version_fault(graph_node const& library, std::string const& version) {
    auto const defined = library.object->defined_versions();
    // Without any version, the dynamic linker only warns.
    bool const is_there =
        defined.empty() || std::find(defined.begin(), defined.end(), version) != defined.end();
    return is_there ? "" : library.object->path();
}

void check_versions(library_graph const& graph, findings& found) {
    std::map<std::string, graph_node const*> libraries;
    for (auto const& each : graph.nodes) {
        libraries.emplace(each.name, &each);
        libraries.emplace(each.object->soname(), &each);
    }
    auto const& object = *graph.nodes.front().object;
    auto const most = found.size() + k_most_findings;
    for (std::size_t node = 0; node < graph.nodes.size(); ++node) {
        for (auto const& each : graph.nodes[node].object->required_versions()) {
            auto const library = libraries.find(each.provider);
            auto const path = library != libraries.end()
                                  ? library_version_fault(*library->second, each.version)
                                  : "";
            if (!path.empty() && found.size() < most) {
                auto const by = node == 0 ? "the shared object" : in_quotes(graph.nodes[node].name);
                found.push_back({322,
                                 {object.path(), 0, 0, each.version},
                                 by + " needs the version " + in_quotes(each.version) + " of " +
                                     in_quotes(each.provider) + ", which " + in_quotes(path) +
                                     " does not have",
                                 "build it on a system as old as the oldest that it shall run "
                                 "on, or install a newer " +
                                     in_quotes(each.provider)});
            }
        }
    }
}

void take_away_defined(library_graph const& graph,
                       std::unordered_map<std::string_view, bool>& wanted) {
    for (auto const& node : graph.nodes) {
        for (auto const& each : node.object->symbols()) {
            if (is_exported(each)) {
                wanted.erase(each.name);
            }
        }
    }
}

void check_imports(library_graph const& graph, symbol_names const& bound, findings& found) {
    auto const& object = *graph.nodes.front().object;
    std::unordered_map<std::string_view, bool> wanted;
    auto const imports = object.imports();
    for (auto const& each : imports) {
        auto const name = each.symbol.name;
        if (each.symbol.binding != STB_WEAK && !is_of_instrumentation(name) &&
            bound.count(name) == 0) {
            wanted.emplace(name, each.is_lazy);
        }
    }
    take_away_defined(graph, wanted);
    take_away_defined(host_graph(), wanted);
    std::map<std::string_view, bool> const missing(wanted.begin(), wanted.end());
    auto const most = found.size() + k_most_findings;
    for (auto const& [name, is_lazy] : missing) {
        if (found.size() == most) {
            break;
        }
        auto const declaration = declaration_of(name);
        found.push_back({323,
                         {object.path(), 0, 0, std::string(name)},
                         "nothing that the shared object links, nor libkivcore, defines " +
                             in_quotes(declaration) +
                             (is_lazy ? ": the first call of it ends the host"
                                      : ": the shared object cannot be opened"),
                         "define it, or link the library that does"});
    }
}

}  // namespace

void check_linkage(library_graph const& graph, symbol_names const& bound, findings& found) {
    auto const most = std::min(graph.missing.size(), k_most_findings);
    for (std::size_t i = 0; i < most; ++i) {
        report_missing(graph, graph.missing[i], found);
    }
    check_versions(graph, found);
    // What is not found may define anything.
    if (graph.missing.empty() && !host_graph().nodes.empty()) {
        check_imports(graph, bound, found);
    }
}

}  // namespace kivplug
