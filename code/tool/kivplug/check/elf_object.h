// What the dynamic linker takes from a shared object: read from the dynamic section, as it does;
// the section headers may be missing.

#ifndef KIVPLUG_CHECK_ELF_OBJECT_H
#define KIVPLUG_CHECK_ELF_OBJECT_H

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "elf_file.h"

namespace kivplug {

using elf_tag = long long;  // DT_NEEDED ...

// Names are valid as long as the object is.
struct elf_symbol {
    std::string_view name;
    unsigned char type;        // STT_FUNC ...
    unsigned char binding;     // STB_GLOBAL ...
    unsigned char visibility;  // STV_DEFAULT ...
    bool is_defined;
    bool is_default_version;  // false for one that is found only when its version is asked for
    elf_address value;
    elf_address size;
};

// Whether another object, or a search by name, finds the symbol.
bool is_exported(elf_symbol const& symbol);

// A version that the object needs of a library.
struct required_version {
    std::string provider;  // as in elf_object::needed
    std::string version;
};

// A symbol that the object uses.
struct elf_import {
    elf_symbol symbol;
    bool is_lazy = false;  // looked up at its first call only
};

// The name at an offset below the size; empty when it does not end there.
std::string_view name_in(elf_table<char> const& names, std::size_t offset);

class elf_object {
  public:
    // Raises malformed, or not_shared. Whether the file is of this machine is to be known before.
    explicit elf_object(std::string const& path, elf_role expected = elf_role::library);

    std::string const& path() const { return file_path; }
    elf_file const& file() const { return contents; }

    // Texts of the dynamic section; empty without an entry.
    std::vector<std::string> const& needed() const { return needed_names; }
    std::string soname() const { return text_of(DT_SONAME); }
    std::string rpath() const { return text_of(DT_RPATH); }
    std::string runpath() const { return text_of(DT_RUNPATH); }

    bool has_entry(elf_tag tag) const { return entries.count(tag) != 0; }
    bool has_flag_1(elf_address flag) const { return (value_of(DT_FLAGS_1) & flag) != 0; }
    bool is_bound_at_once() const;

    // The dynamic symbols that a search can find, and those before them.
    std::vector<elf_symbol> const& symbols() const { return dynamic_symbols; }

    // The symbols that relocations name and other objects must define.
    std::vector<elf_import> imports() const;

    // The symbols that only debuggers read; none when the object is stripped.
    std::vector<elf_symbol> full_symbols() const;

    std::vector<required_version> required_versions() const;

    // The versions that it defines.
    std::vector<std::string> defined_versions() const;

    bool is_function(elf_symbol const& symbol) const;

  private:
    void read_dynamic();
    void require_shared() const;
    elf_address value_of(elf_tag tag) const;
    std::string text_of(elf_tag tag) const;
    std::string_view name_at(std::size_t offset) const;
    std::size_t symbol_count() const;
    std::vector<elf_symbol> read_symbols(std::size_t count) const;

    std::string file_path;
    elf_file contents;
    std::map<elf_tag, elf_address> entries;  // of the dynamic section
    elf_table<char> names;
    std::vector<std::string> needed_names;
    std::vector<elf_symbol> dynamic_symbols;
};

}  // namespace kivplug

#endif
