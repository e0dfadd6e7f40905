// An ELF file of this machine, read as the dynamic linker would map it, and never mapped. All sizes
// and places in it are taken for hostile.

#ifndef KIVPLUG_CHECK_ELF_FILE_H
#define KIVPLUG_CHECK_ELF_FILE_H

#include <link.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "descriptor.h"

struct Elf;  // libelf's

namespace kivplug {

using elf_address = ElfW(Addr);  // and offset in a file
using elf_segment = ElfW(Phdr);
using elf_section = ElfW(Shdr);

// The file contradicts itself. The message is the end of a sentence that begins with the file.
class malformed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The file is sound, but of another kind. The message is as above.
class not_shared : public malformed {
  public:
    using malformed::malformed;
};

// Records of a file. Valid as long as the file is.
template <typename record>
class elf_table {
  public:
    elf_table() = default;
    // cppcheck-suppress noExplicitConstructor
    elf_table(record const* records, std::size_t count) : first(records), length(count) {}

    record const* begin() const { return first; }
    record const* end() const { return first + length; }
    std::size_t size() const { return length; }
    record const& operator[](std::size_t index) const { return first[index]; }

  private:
    record const* first = nullptr;
    std::size_t length = 0;
};

enum class elf_role { library, program };

class elf_file {
  public:
    // Raises malformed unless the dynamic linker would take the header and the segments, and
    // not_shared for a file that says that it is not what is expected. Raises a failure when this
    // process can open no more files.
    elf_file(std::string const& path, elf_role expected);

    std::vector<elf_segment> const& segments() const { return loaded; }
    std::vector<elf_section> sections() const;

    // Records that a segment brings to an address. Raises malformed, with the name of what they
    // are, when they are not all in the file.
    template <typename record>
    elf_table<record> at(elf_address address, std::size_t count, char const* what) const {
        require_count(count, sizeof(record), what);
        void const* const bytes = loaded_bytes(address, count * sizeof(record), what);
        return {static_cast<record const*>(bytes), count};
    }

    // The bytes from an address to the end of its segment, at most so many.
    elf_table<char> from(elf_address address, std::size_t most, char const* what) const;

    // The records of a section, which no segment needs to have.
    template <typename record>
    elf_table<record> in(elf_section const& section, char const* what) const {
        std::size_t const count = section.sh_size / sizeof(record);
        require_count(count, sizeof(record), what);
        void const* const bytes = bytes_at(section.sh_offset, count * sizeof(record), what);
        return {static_cast<record const*>(bytes), count};
    }

    // Whether the code of a loaded segment is at the address.
    bool is_code(elf_address address) const;

  private:
    using header_type = ElfW(Ehdr);

    struct end_elf {
        void operator()(Elf* file) const;
    };

    static void require_count(std::size_t count, std::size_t size, char const* what);
    void require_header(elf_role expected) const;
    void read_segments();
    void require_segments() const;
    elf_segment const& segment_with(elf_address address, char const* what) const;
    void const* loaded_bytes(elf_address address, std::size_t size, char const* what) const;
    void const* bytes_at(elf_address offset, std::size_t size, char const* what) const;

    descriptor opened;
    std::unique_ptr<Elf, end_elf> handle;
    header_type header{};
    std::vector<elf_segment> loaded;
};

}  // namespace kivplug

#endif
