#include "object_linkage.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <string_view>
#include <unordered_map>

namespace kivplug {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t k_most_findings = 20;   // of one kind
constexpr std::size_t k_most_entries = 2000;  // of directories that are searched

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

// The first file in the plug-in directory that fits, where nothing looks for it; empty without one.
template <typename predicate>
std::string library_beside(elf_object const& object, predicate const& fits) {
    auto const here = fs::path(object.path()).parent_path();
    std::size_t left = k_most_entries;
    for (auto const& directory : {here, here / "lib", here / "../..", here / "../../lib"}) {
        std::error_code unknown;
        for (fs::directory_iterator each(directory, unknown), end; each != end && left > 0;
             each.increment(unknown), --left) {
            if (fits(each->path().filename().string()) && each->is_regular_file(unknown)) {
                return each->path().lexically_normal().string();
            }
        }
    }
    return "";
}

std::string repair_of_missing(library_graph const& graph, missing_library const& missing) {
    if (!missing.search.unusable.empty()) {
        return "replace that file, or install the library";
    }
    auto const& name = missing.name;
    if (name.find('/') != std::string::npos) {
        return "link the library with -L and -l, after giving it a name with -Wl,-soname, so that "
               "its path is not recorded";
    }
    auto const& object = *graph.nodes.front().object;
    auto const beside = library_beside(object, [&](auto const& each) { return each == name; });
    if (!beside.empty()) {
        auto const& user = graph.nodes[missing.parent].name;
        return "link " + (user.empty() ? "the shared object" : in_quotes(user)) +
               " with -Wl,-rpath,'$ORIGIN' or a way from there, for the linker to look for " +
               in_quotes(beside);
    }
    auto const stem = name.substr(0, name.find(".so")) + ".so";
    auto const other = library_beside(
        object, [&](auto const& each) { return each.compare(0, stem.size(), stem) == 0; });
    return other.empty() ? "install the library, or link with -Wl,-rpath and the directory that it "
                           "is in"
                         : "let a link with the name " + in_quotes(name) + " lead to " +
                               in_quotes(other) + ", in a directory where the linker looks";
}

void report_missing(library_graph const& graph, missing_library const& missing, findings& found) {
    auto const way = way_to(graph, missing.parent);
    bool const is_direct = way.empty();
    std::string const end = missing.search.unusable.empty() ? "" : "; " + missing.search.unusable;
    found.push_back({is_direct ? 320 : 321,
                     {graph.nodes.front().object->path(), 0, 0, missing.name},
                     "the library " + in_quotes(missing.name) + ", which is needed by " +
                         (is_direct ? "the shared object" : way) + ", " + tried_text(missing) + end,
                     repair_of_missing(graph, missing)});
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

using wanted_symbols = std::unordered_map<std::string_view, bool>;  // whether at a call only

template <typename consumer>
void take_away_defined(library_graph const& graph, wanted_symbols& wanted, consumer const& taken) {
    for (auto const& node : graph.nodes) {
        if (wanted.empty()) {
            return;
        }
        for (auto const& each : node.object->symbols()) {
            if (is_exported(each) && wanted.erase(each.name) != 0) {
                taken(node, each.name);
            }
        }
    }
}

// Whether every host has the library that exports a symbol: this one, and what it cannot do
// without.
bool is_of_every_host(graph_node const& library) {
    constexpr std::string_view k_starts[] = {"libkiv", "libmorbase", "libstdc++", "libc++",
                                             "libgcc", "libc.",      "libm.",     "ld-"};
    return library.name.empty() ||
           std::any_of(std::begin(k_starts), std::end(k_starts), [&](auto start) {
               return library.name.compare(0, start.size(), start) == 0;
           });
}

// Takes away what hosts define, and reports what they define only by chance.
void take_away_of_host(elf_object const& object, wanted_symbols& wanted, findings& found) {
    std::map<std::string, std::vector<std::string_view>> by_chance;  // by library
    take_away_defined(host_graph(), wanted, [&](graph_node const& library, auto name) {
        if (!is_of_every_host(library)) {
            by_chance[library.name].push_back(name);
        }
    });
    for (auto& [library, names] : by_chance) {
        std::sort(names.begin(), names.end());
        found.push_back({324,
                         {object.path(), 0, 0, std::string(names.front())},
                         "the shared object does not link " + in_quotes(library) +
                             ", but uses its " + listed(names) +
                             ": it works only while something else in the host links it",
                         "link " + in_quotes(library)});
    }
}

// Names of C++ have those of their scopes in them.
bool is_of_kivcore(std::string_view symbol) {
    constexpr std::string_view k_scopes[] = {"7kivcore", "7morbase", "6kivsys"};
    return std::any_of(std::begin(k_scopes), std::end(k_scopes),
                       [=](auto scope) { return symbol.find(scope) != std::string_view::npos; });
}

void check_imports(library_graph const& graph, symbol_names const& bound, findings& found) {
    auto const& object = *graph.nodes.front().object;
    wanted_symbols wanted;
    auto const imports = object.imports();
    for (auto const& each : imports) {
        auto const name = each.symbol.name;
        if (each.symbol.binding != STB_WEAK && !is_of_instrumentation(name) &&
            bound.count(name) == 0) {
            wanted.emplace(name, each.is_lazy);
        }
    }
    take_away_defined(graph, wanted, [](graph_node const&, auto) {});
    take_away_of_host(object, wanted, found);
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
                         is_of_kivcore(name)
                             ? "compile it with the headers of the libkivcore that is installed, "
                               "and for the same C++ library, without -D_GLIBCXX_USE_CXX11_ABI=0"
                             : "define it, or link the library that does"});
    }
}

}  // namespace

void check_linkage(library_graph const& graph, symbol_names const& bound, findings& found) {
    auto const most = std::min(graph.missing.size(), k_most_findings);
    for (std::size_t i = 0; i < most; ++i) {
        report_missing(graph, graph.missing[i], found);
    }
    auto const before = found.size();
    check_versions(graph, found);
    // What is not found, or is another version, may define anything.
    if (graph.missing.empty() && found.size() == before && !host_graph().nodes.empty()) {
        check_imports(graph, bound, found);
    }
}

}  // namespace kivplug
