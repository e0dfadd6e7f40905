#include "elf_object.h"

#include <algorithm>
#include <cstring>

namespace kivplug {

namespace {

constexpr std::size_t k_most_entries = 4096;  // of the dynamic section
// Each symbol may have a name of its own, and they may overlap.
constexpr std::size_t k_longest_name = 8192;
constexpr std::size_t k_most_version_bytes = std::size_t{1} << 18;
constexpr std::size_t k_most_versions = 4096;

// A record at a place that need not be aligned.
template <typename record>
record read(elf_table<char> const& bytes, std::size_t offset, char const* what) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(record)) {
        throw malformed(std::string("has a ") + what + " that goes beyond its end");
    }
    record copied{};
    std::memcpy(&copied, bytes.begin() + offset, sizeof copied);
    return copied;
}

}  // namespace

std::string_view name_in(elf_table<char> const& names, std::size_t offset) {
    char const* const start = names.begin() + offset;
    std::size_t const most = std::min(names.size() - offset, k_longest_name);
    auto const* const end = static_cast<char const*>(std::memchr(start, 0, most));
    return end != nullptr ? std::string_view(start, static_cast<std::size_t>(end - start))
                          : std::string_view();
}

elf_object::elf_object(std::string const& path, elf_role expected)
    : file_path(path), contents(path, expected) {
    read_dynamic();
    if (expected == elf_role::library) {
        require_shared();
    }
    dynamic_symbols = read_symbols(symbol_count());
}

void elf_object::read_dynamic() {
    auto const& segments = contents.segments();
    auto const dynamic =
        std::find_if(segments.begin(), segments.end(),
                     [](elf_segment const& each) { return each.p_type == PT_DYNAMIC; });
    if (dynamic == segments.end() || dynamic->p_filesz == 0) {
        throw malformed("has no dynamic section");
    }
    std::size_t const count = dynamic->p_filesz / sizeof(ElfW(Dyn));
    auto const table = contents.at<ElfW(Dyn)>(dynamic->p_vaddr, std::min(count, k_most_entries),
                                              "dynamic section");
    std::vector<std::size_t> needed;
    for (auto const& each : table) {
        if (each.d_tag == DT_NULL) {
            break;
        }
        auto const value = each.d_un.d_val;  // NOLINT(cppcoreguidelines-pro-type-union-access)
        entries[each.d_tag] = value;
        if (each.d_tag == DT_NEEDED) {
            needed.push_back(value);
        }
    }
    if (!has_entry(DT_STRTAB) || !has_entry(DT_SYMTAB)) {
        throw malformed("has a dynamic section without symbols or names");
    }
    names = contents.at<char>(value_of(DT_STRTAB), value_of(DT_STRSZ), "names");
    for (auto const offset : needed) {
        needed_names.emplace_back(name_at(offset));
    }
}

// Since programs are position-independent, they are of the same type of file. Linkers mark them
// only lately; a shared object may have an interpreter, but has no entry for debuggers.
void elf_object::require_shared() const {
    auto const& segments = contents.segments();
    bool const has_interpreter =
        std::any_of(segments.begin(), segments.end(),
                    [](elf_segment const& each) { return each.p_type == PT_INTERP; });
    if (has_flag_1(DF_1_PIE) || (has_interpreter && has_entry(DT_DEBUG))) {
        throw not_shared("is a program");
    }
}

bool elf_object::is_bound_at_once() const {
    return has_entry(DT_BIND_NOW) || (value_of(DT_FLAGS) & DF_BIND_NOW) != 0 ||
           has_flag_1(DF_1_NOW);
}

std::vector<required_version> elf_object::required_versions() const {
    std::vector<required_version> found;
    if (!has_entry(DT_VERNEED)) {
        return found;
    }
    constexpr char const* k_what = "table of needed versions";
    auto const bytes = contents.from(value_of(DT_VERNEED), k_most_version_bytes, k_what);
    std::size_t offset = 0;
    for (auto left = value_of(DT_VERNEEDNUM); left > 0; --left) {
        auto const library = read<ElfW(Verneed)>(bytes, offset, k_what);
        std::size_t at = offset + library.vn_aux;
        for (unsigned int i = 0; i < library.vn_cnt && found.size() < k_most_versions; ++i) {
            auto const version = read<ElfW(Vernaux)>(bytes, at, k_what);
            if ((version.vna_flags & VER_FLG_WEAK) == 0) {
                found.push_back({std::string(name_at(library.vn_file)),
                                 std::string(name_at(version.vna_name))});
            }
            at += version.vna_next;
        }
        if (library.vn_next == 0) {
            break;
        }
        offset += library.vn_next;
    }
    return found;
}

std::vector<std::string> elf_object::defined_versions() const {
    std::vector<std::string> found;
    if (!has_entry(DT_VERDEF)) {
        return found;
    }
    constexpr char const* k_what = "table of versions";
    auto const bytes = contents.from(value_of(DT_VERDEF), k_most_version_bytes, k_what);
    std::size_t offset = 0;
    for (auto left = value_of(DT_VERDEFNUM); left > 0 && found.size() < k_most_versions; --left) {
        auto const version = read<ElfW(Verdef)>(bytes, offset, k_what);
        auto const name = read<ElfW(Verdaux)>(bytes, offset + version.vd_aux, k_what);
        found.emplace_back(name_at(name.vda_name));
        if (version.vd_next == 0) {
            break;
        }
        offset += version.vd_next;
    }
    return found;
}

bool is_exported(elf_symbol const& symbol) {
    bool const is_shared = symbol.binding == STB_GLOBAL || symbol.binding == STB_WEAK ||
                           symbol.binding == STB_GNU_UNIQUE;
    bool const is_seen = symbol.visibility == STV_DEFAULT || symbol.visibility == STV_PROTECTED;
    return symbol.is_defined && is_shared && is_seen && symbol.type != STT_SECTION &&
           symbol.type != STT_FILE;
}

bool elf_object::is_function(elf_symbol const& symbol) const {
    // An assembler gives no type to a plain label.
    return symbol.type == STT_FUNC || symbol.type == STT_GNU_IFUNC ||
           (symbol.type == STT_NOTYPE && contents.is_code(symbol.value));
}

elf_address elf_object::value_of(elf_tag tag) const {
    auto const found = entries.find(tag);
    return found != entries.end() ? found->second : 0;
}

std::string elf_object::text_of(elf_tag tag) const {
    return has_entry(tag) ? std::string(name_at(value_of(tag))) : "";
}

std::string_view elf_object::name_at(std::size_t offset) const {
    if (offset >= names.size()) {
        throw malformed("has a name outside its table of names");
    }
    return name_in(names, offset);
}

}  // namespace kivplug
