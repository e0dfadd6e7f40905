#include "object_exports.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace kivplug {

namespace {

bool starts_with(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

// Names that linkers, compilers, sanitizers and counts of coverage make, besides those of C++.
bool is_reserved(std::string_view name) {
    constexpr std::string_view k_names[] = {
        "_init",        "_fini",       "_edata",           "_end",
        "_etext",       "mangle_path", "writeout_fn_list", "reset_fn_list",
        "lprofDirMode",
    };
    bool const is_known =
        std::find(std::begin(k_names), std::end(k_names), name) != std::end(k_names);
    return is_known || starts_with(name, "__");
}

// The type of a function, or another one that is not a class: a sanitizer compares these.
bool is_plain_type(std::string_view name) {
    constexpr std::size_t k_start = 4;
    bool const is_type = starts_with(name, "_ZTI") || starts_with(name, "_ZTS");
    return is_type && name.size() > k_start &&
           name.find_first_of("NS0123456789", k_start) != k_start;
}

// Whether C++ symbols are of this library or the standard one: the compiler makes copies of their
// templates and inline functions, and their headers decide who sees them.
bool is_of_library_scope(std::string_view name) {
    constexpr std::string_view k_prefixes[] = {"_ZTV", "_ZTI", "_ZTS",  "_ZTT", "_ZTC", "_ZGV",
                                               "_ZGR", "_ZTh", "_ZGTt", "_ZTv", "_Z"};
    constexpr std::string_view k_scopes[] = {"St",
                                             "Sa",
                                             "Sb",
                                             "Ss",
                                             "Si",
                                             "So",
                                             "Sd",
                                             "9__gnu_cxx",
                                             "7kivcore",
                                             "7morbase",
                                             "6kivsys",
                                             "10__cxxabiv1",
                                             "11__gnu_debug",
                                             "nw",
                                             "na",
                                             "dl",
                                             "da"};  // operators new and delete
    auto const* const prefix = std::find_if(std::begin(k_prefixes), std::end(k_prefixes),
                                            [=](auto each) { return starts_with(name, each); });
    if (prefix == std::end(k_prefixes)) {
        return false;
    }
    name.remove_prefix(prefix->size());
    name.remove_prefix(std::min(name.find_first_not_of("ZNKVrRO"), name.size()));
    return std::any_of(std::begin(k_scopes), std::end(k_scopes),
                       [=](auto each) { return starts_with(name, each); });
}

// The names of the exported symbols that fit.
template <typename predicate>
std::vector<std::string_view> exports_that(elf_object const& object, predicate const& fit) {
    std::vector<std::string_view> names;
    for (auto const& each : object.symbols()) {
        if (is_exported(each) && fit(each)) {
            names.push_back(each.name);
        }
    }
    return names;
}

void report(int rule, elf_object const& object, std::vector<std::string_view> const& names,
            std::string const& problem, std::string const& repair, findings& found) {
    if (!names.empty()) {
        found.push_back({rule,
                         {object.path(), 0, 0, std::string(names.front())},
                         problem + listed(names),
                         repair});
    }
}

void check_thread_locals(elf_object const& object, findings& found) {
    auto const imports = object.imports();
    auto const is_registration = [](elf_import const& each) {
        return starts_with(each.symbol.name, "__cxa_thread_atexit");
    };
    auto const registration = std::find_if(imports.begin(), imports.end(), is_registration);
    if (registration != imports.end()) {
        found.push_back({352,
                         {object.path(), 0, 0, std::string(registration->symbol.name)},
                         "the shared object has thread_local objects with destructors, so it stays "
                         "in memory while a thread that used them runs",
                         "use thread_local objects without destructors, or keep the state in the "
                         "plug-in's objects"});
    }
}

void check_relocations(elf_object const& object, findings& found) {
    if (object.has_entry(DT_TEXTREL)) {
        found.push_back({355,
                         {object.path()},
                         "the dynamic linker has to write into the code of the shared object, "
                         "which hardened systems refuse",
                         "compile all of it with -fPIC, and link it without -z notext"});
    }
}

void check_stack(elf_object const& object, findings& found) {
    auto const& segments = object.file().segments();
    bool const has_stack_code =
        std::any_of(segments.begin(), segments.end(), [](elf_segment const& each) {
            return each.p_type == PT_GNU_STACK && (each.p_flags & PF_X) != 0;
        });
    if (has_stack_code) {
        found.push_back({353,
                         {object.path()},
                         "the shared object wants an executable stack: the host's stacks become "
                         "so, or the dynamic linker refuses to open it",
                         "do without nested functions whose address is taken, end each assembler "
                         "file with a section .note.GNU-stack, or link with -z noexecstack"});
    }
}

}  // namespace

void check_exports(elf_object const& object, symbol_names const& bound, findings& found) {
    auto const versions = object.defined_versions();  // each is a symbol, too
    auto const is_version = [&](std::string_view name) {
        return std::find(versions.begin(), versions.end(), name) != versions.end();
    };
    auto const surplus = [&](unsigned int binding) {
        return exports_that(object, [&](elf_symbol const& each) {
            return each.binding == binding && bound.count(each.name) == 0 &&
                   !is_reserved(each.name) && !is_plain_type(each.name) &&
                   !is_of_library_scope(each.name) && !is_version(each.name);
        });
    };
    std::string const repair =
        "compile with -fvisibility=hidden -fvisibility-inlines-hidden and export only what is "
        "bound, or hide the rest with a version script";
    report(340, object, surplus(STB_GLOBAL), "no bind element names the exported ", repair, found);
    report(341, object, surplus(STB_WEAK), "no bind element names the weak exports ", repair,
           found);
}

void check_behaviour(elf_object const& object, findings& found) {
    report(
        350, object,
        exports_that(object, [](elf_symbol const& each) { return each.binding == STB_GNU_UNIQUE; }),
        "the shared object stays in memory after it is closed, because of its unique symbol ",
        "compile with -fno-gnu-unique, or hide the symbols with a version script", found);
    if (object.has_flag_1(DF_1_NODELETE)) {
        found.push_back({351,
                         {object.path()},
                         "the shared object is linked to stay in memory after it is closed",
                         "link it without -z nodelete"});
    }
    if (object.has_flag_1(DF_1_NOOPEN)) {
        found.push_back({354,
                         {object.path()},
                         "the shared object is linked so that the dynamic linker refuses to open "
                         "it while a program runs",
                         "link it without -z nodlopen"});
    }
    check_thread_locals(object, found);
    check_stack(object, found);
    check_relocations(object, found);
}

}  // namespace kivplug
