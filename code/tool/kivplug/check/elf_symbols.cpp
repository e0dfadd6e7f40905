// The symbols of an object: those of the dynamic section and those that debuggers read.

#include <algorithm>
#include <cstdint>

#include "elf_object.h"

namespace kivplug {

namespace {

constexpr std::size_t k_most_chained = 16384;  // symbols in one bucket of a hash table

elf_symbol symbol_of(ElfW(Sym) const& record, std::string_view name) {
    // The macros for 32 bits do the same.
    return {name,
            static_cast<unsigned char>(ELF64_ST_TYPE(record.st_info)),
            static_cast<unsigned char>(ELF64_ST_BIND(record.st_info)),
            static_cast<unsigned char>(ELF64_ST_VISIBILITY(record.st_other)),
            record.st_shndx != SHN_UNDEF,
            true,
            record.st_value,
            record.st_size};
}

std::size_t symbol_index(std::uint64_t info) {
    return static_cast<std::size_t>(sizeof(void*) == sizeof(Elf64_Addr) ? ELF64_R_SYM(info)
                                                                        : ELF32_R_SYM(info));
}

// How many symbols a GNU hash table has, with those before them: it does not say.
std::size_t gnu_hash_count(elf_file const& file, elf_address address) {
    constexpr char const* k_what = "hash table";
    auto const header = file.at<Elf32_Word>(address, 4, k_what);
    std::size_t const buckets = header[0];
    std::size_t const first = header[1];
    std::size_t const filter_words = header[2];
    auto const bucket_at = address + 4 * sizeof(Elf32_Word) + filter_words * sizeof(elf_address);
    auto const table = file.at<Elf32_Word>(bucket_at, buckets, k_what);
    std::size_t const last =
        buckets > 0 ? *std::max_element(table.begin(), table.end()) : std::size_t{0};
    if (last < first) {
        return first;
    }
    auto const chain_at = bucket_at + (buckets + last - first) * sizeof(Elf32_Word);
    auto const bytes = file.from(chain_at, k_most_chained * sizeof(Elf32_Word), k_what);
    auto const chain = file.at<Elf32_Word>(chain_at, bytes.size() / sizeof(Elf32_Word), k_what);
    auto const* const end =
        std::find_if(chain.begin(), chain.end(), [](Elf32_Word each) { return (each & 1U) != 0; });
    if (end == chain.end()) {
        throw malformed("has a hash table without its end");
    }
    return last + static_cast<std::size_t>(end - chain.begin()) + 1;
}

}  // namespace

std::size_t elf_object::symbol_count() const {
    if (has_entry(DT_GNU_HASH)) {
        return gnu_hash_count(contents, value_of(DT_GNU_HASH));
    }
    // Without a hash table nothing can be found.
    return has_entry(DT_HASH) ? contents.at<Elf32_Word>(value_of(DT_HASH), 2, "hash table")[1] : 0;
}

std::vector<elf_symbol> elf_object::read_symbols(std::size_t count) const {
    auto const records = contents.at<ElfW(Sym)>(value_of(DT_SYMTAB), count, "symbols");
    elf_table<ElfW(Half)> versions;
    if (has_entry(DT_VERSYM)) {
        versions = contents.at<ElfW(Half)>(value_of(DT_VERSYM), count, "symbols' versions");
    }
    std::vector<elf_symbol> read;
    read.reserve(count);
    for (std::size_t i = 0; i < records.size(); ++i) {
        auto symbol = symbol_of(records[i], name_at(records[i].st_name));
        constexpr unsigned int k_hidden = 0x8000;
        // The first two are not versions: local, and global without one.
        symbol.is_default_version =
            i >= versions.size() || (versions[i] & k_hidden) == 0 || (versions[i] & 0x7fffU) < 2;
        read.push_back(symbol);
    }
    return read;
}

std::vector<elf_import> elf_object::imports() const {
    constexpr char const* k_what = "relocations";
    std::map<std::size_t, bool> used;  // by the symbol's index: whether lazily
    auto const note = [&](auto const& records, bool is_lazy) {
        for (auto const& each : records) {
            auto const place = used.try_emplace(symbol_index(each.r_info), is_lazy).first;
            place->second = place->second && is_lazy;
        }
    };
    bool const is_lazy = !is_bound_at_once();
    auto const read = [&](auto record, elf_tag start, elf_tag size, bool lazily) {
        using type = decltype(record);
        note(contents.at<type>(value_of(start), value_of(size) / sizeof(type), k_what), lazily);
    };
    read(ElfW(Rela){}, DT_RELA, DT_RELASZ, false);
    read(ElfW(Rel){}, DT_REL, DT_RELSZ, false);
    value_of(DT_PLTREL) == DT_RELA ? read(ElfW(Rela){}, DT_JMPREL, DT_PLTRELSZ, is_lazy)
                                   : read(ElfW(Rel){}, DT_JMPREL, DT_PLTRELSZ, is_lazy);
    std::vector<elf_import> found;
    // A hash table need not count the symbols that are not defined.
    auto const symbols = used.empty() ? dynamic_symbols : read_symbols(used.rbegin()->first + 1);
    for (auto const& [index, lazily] : used) {
        auto const& symbol = symbols[index];
        if (!symbol.is_defined && !symbol.name.empty()) {
            found.push_back({symbol, lazily});
        }
    }
    return found;
}

std::vector<elf_symbol> elf_object::full_symbols() const {
    std::vector<elf_symbol> found;
    try {
        auto const sections = contents.sections();
        auto const table =
            std::find_if(sections.begin(), sections.end(),
                         [](elf_section const& each) { return each.sh_type == SHT_SYMTAB; });
        if (table == sections.end() || table->sh_link >= sections.size()) {
            return found;
        }
        auto const texts = contents.in<char>(sections[table->sh_link], "names");
        for (auto const& each : contents.in<ElfW(Sym)>(*table, "symbols")) {
            if (each.st_name < texts.size()) {
                found.push_back(symbol_of(each, name_in(texts, each.st_name)));
            }
        }
    } catch (malformed const&) {
        return {};  // the dynamic linker does not read it
    }
    return found;
}

}  // namespace kivplug
