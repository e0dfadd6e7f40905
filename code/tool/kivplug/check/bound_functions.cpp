#include "bound_functions.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string_view>
#include <unordered_map>

namespace kivplug {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t k_most_candidates = 5000;
constexpr std::size_t k_longest_candidate = 100;
constexpr int k_most_tries = 200;           // to read a symbol of C++
constexpr std::size_t k_most_missing = 50;  // functions that are explained

// Without what languages' customs of naming differ in.
std::string plain(std::string_view name) {
    std::string text;
    for (char const letter : name) {
        if (letter != '_') {
            text += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        }
    }
    return text;
}

// Whether one name is the other with a prefix, such as that of its plug-in.
bool is_prefixed(std::string_view one, std::string_view other) {
    auto const& [shorter, longer] =
        std::minmax(one, other, [](auto left, auto right) { return left.size() < right.size(); });
    auto const at = longer.size() - shorter.size();
    return !shorter.empty() && at > 0 && longer.substr(at) == shorter && longer[at - 1] == '_';
}

class binding_check {
  public:
    binding_check(library_graph const& libraries, std::vector<described_plugin> const& plugins)
        : graph(libraries), object(*libraries.nodes.front().object) {
        auto const names = bound_names(plugins);
        for (auto const& each : object.symbols()) {
            if (!is_exported(each)) {
                continue;
            }
            if (each.is_default_version) {
                exported.emplace(each.name, &each);
            }
            if (object.is_function(each) && names.count(each.name) == 0) {
                unbound.push_back(each.name);
            }
        }
        full = object.full_symbols();
    }

    void check(bound_function const& bound, findings& to) const {
        auto const symbol = exported.find(bound.symbol);
        if (symbol == exported.end()) {
            auto const* const elsewhere = graph.exporter(bound.symbol);
            if (elsewhere == nullptr || !is_own(*elsewhere)) {
                to.push_back(missing(bound, elsewhere));
            }
        } else if (!object.is_function(*symbol->second)) {
            to.push_back({334, place(bound),
                          "the shared object exports " + in_quotes(bound.symbol) +
                              ", but as data and not as a function",
                          "bind a function, not a variable"});
        }
    }

  private:
    template <typename predicate>
    static elf_symbol const* find(std::vector<elf_symbol> const& in, predicate const& fits) {
        auto const found = std::find_if(in.begin(), in.end(), fits);
        return found != in.end() ? &*found : nullptr;
    }

    static location place(bound_function const& bound) {
        auto where = bound.where;
        where.symbol = bound.symbol;
        return where;
    }

    // Whether the library is a part of the plug-in, in its directory: there dlsym finds what is
    // meant.
    bool is_own(graph_node const& library) const {
        std::error_code unknown;
        auto const top = fs::path(object.path()).parent_path() / "../..";
        auto const whole = fs::canonical(top, unknown).string() + "/";
        auto const path = fs::canonical(library.object->path(), unknown).string();
        return path.compare(0, whole.size(), whole) == 0;
    }

    // The likeliest reason first.
    finding missing(bound_function const& bound, graph_node const* elsewhere) const {
        std::string const instead =
            elsewhere != nullptr
                ? "; the library would call that of " + in_quotes(elsewhere->name) + " instead"
                : "";
        auto const is_named = [&](elf_symbol const& each) {
            return each.name == bound.symbol && each.is_defined;
        };
        auto const* const symbol = find(object.symbols(), is_named);
        if (symbol != nullptr || find(full, is_named) != nullptr) {
            return not_exported(bound, symbol != nullptr && is_exported(*symbol), instead);
        }
        auto const mangled = mangled_for(bound.symbol);
        if (!mangled.empty()) {
            return {331, place(bound),
                    "the shared object has " + in_quotes(bound.symbol) +
                        " only as the C++ function " + in_quotes(declaration_of(mangled)) +
                        ", whose symbol is " + in_quotes(mangled) + instead,
                    "declare it extern \"C\" and export it"};
        }
        return elsewhere != nullptr ? foreign(bound, *elsewhere) : absent(bound);
    }

    static finding not_exported(bound_function const& bound, bool is_of_other_version,
                                std::string const& instead) {
        if (is_of_other_version) {
            return {330, place(bound),
                    "the shared object exports " + in_quotes(bound.symbol) +
                        " only under a version that is not its default" + instead,
                    "make the version the default, or export the function without a version"};
        }
        return {330, place(bound),
                "the shared object defines " + in_quotes(bound.symbol) +
                    ", but does not export it" + instead,
                "export it: declare it with __attribute__((visibility(\"default\"))) and without "
                "static, and if there is a version script, name it under global"};
    }

    // The symbol of a C++ function of this name, exported or not.
    std::string mangled_for(std::string const& name) const {
        auto const part = std::to_string(name.size()) + name;
        int tries = 0;
        auto const fits = [&](elf_symbol const& each) {
            auto const symbol = each.name;
            bool const may_fit = symbol.substr(0, 2) == "_Z" && each.is_defined &&
                                 symbol.find(part) != std::string_view::npos;
            if (!may_fit || ++tries > k_most_tries) {
                return false;
            }
            auto declaration = declaration_of(symbol);
            declaration.erase(std::min(declaration.find('('), declaration.size()));
            auto const length = declaration.size();
            return length >= name.size() &&
                   declaration.compare(length - name.size(), name.size(), name) == 0 &&
                   (length == name.size() || declaration[length - name.size() - 1] == ':');
        };
        auto const* symbol = find(object.symbols(), fits);
        if (symbol == nullptr) {
            symbol = find(full, fits);
        }
        return symbol != nullptr ? std::string(symbol->name) : "";
    }

    finding foreign(bound_function const& bound, graph_node const& elsewhere) const {
        auto const near = nearest(bound.symbol);
        return {333, place(bound),
                "the shared object does not define " + in_quotes(bound.symbol) +
                    ", and the library would call that of " + in_quotes(elsewhere.name) +
                    " instead",
                near.empty()
                    ? "define the function, under a name that no library uses, and bind that name"
                    : write_instead(near)};
    }

    static std::string write_instead(std::string const& near) {
        return "write " + in_quotes(near) + " in the bind element, or rename the function";
    }

    finding absent(bound_function const& bound) const {
        auto const near = nearest(bound.symbol);
        if (!near.empty()) {
            return {332, place(bound),
                    "the shared object does not export " + in_quotes(bound.symbol) +
                        ", but it exports " + in_quotes(near),
                    write_instead(near)};
        }
        bool const is_used = find(object.symbols(), [&](elf_symbol const& each) {
                                 return each.name == bound.symbol;
                             }) != nullptr;
        return {335, place(bound),
                "the shared object " + std::string(is_used ? "uses " : "does not have ") +
                    in_quotes(bound.symbol) + (is_used ? ", but does not define it" : "") +
                    (unbound.empty() ? ""
                                     : "; its functions that are not bound are " + listed(unbound)),
                "define and export the function, or bind the one that is meant"};
    }

    // The function that may be meant: no other bind names it.
    std::string nearest(std::string const& name) const {
        std::string best;
        std::size_t least = std::max<std::size_t>(2, name.size() / 4) + 1;
        for (std::size_t i = 0; i < std::min(unbound.size(), k_most_candidates); ++i) {
            auto const candidate = unbound[i];
            bool const is_alike = is_prefixed(candidate, name);
            if (candidate.size() > k_longest_candidate ||
                (!is_alike && (candidate.size() > name.size() + least ||
                               name.size() > candidate.size() + least))) {
                continue;
            }
            auto const distance =
                is_alike || plain(candidate) == plain(name) ? 1 : distance_between(name, candidate);
            if (distance < least && distance < candidate.size()) {
                least = distance;
                best = candidate;
            }
        }
        return best;
    }

    library_graph const& graph;
    elf_object const& object;
    std::unordered_map<std::string_view, elf_symbol const*> exported;
    std::vector<std::string_view> unbound;  // exported functions
    std::vector<elf_symbol> full;
};

}  // namespace

symbol_names bound_names(std::vector<described_plugin> const& plugins) {
    symbol_names names;
    for (auto const& plugin : plugins) {
        for (auto const& bound : plugin.functions) {
            names.insert(bound.symbol);
        }
    }
    names.erase("");
    return names;
}

bool check_bound_functions(library_graph const& graph, std::vector<described_plugin> const& plugins,
                           findings& found) {
    binding_check const check(graph, plugins);
    auto const before = found.size();
    auto const most = before + k_most_missing;
    for (auto const& plugin : plugins) {
        for (auto const& bound : plugin.functions) {
            if (!bound.symbol.empty() && found.size() < most) {
                check.check(bound, found);
            }
        }
    }
    return found.size() == before;
}

}  // namespace kivplug
