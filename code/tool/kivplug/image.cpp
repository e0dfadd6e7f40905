#include "image.h"

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

namespace kivplug {

namespace {

namespace fs = std::filesystem;

using size_type = unsigned long long;

constexpr unsigned char k_own_class = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
constexpr char const* k_is_cut = "is cut short; copy it again, whole";

class image {
  public:
    image(std::string const& path, size_type bytes) : file(path, std::ios::binary), size(bytes) {}

    bool is_open() const { return file.is_open(); }

    // Reads one record; false when the file does not hold all of it.
    template <typename record>
    bool read(record& into, size_type offset) {
        std::vector<char> bytes(sizeof into);
        if (!holds(offset, sizeof into) || !file.seekg(static_cast<std::streamoff>(offset)) ||
            !file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
            return false;
        }
        std::memcpy(&into, bytes.data(), bytes.size());
        return true;
    }

    // Without a sum that could overflow.
    bool holds(size_type offset, size_type count) const {
        return offset <= size && count <= size - offset;
    }

  private:
    std::ifstream file;
    size_type size;
};

// What the linker maps. A page of a mapping that lies behind the file's end cannot be
// touched without a signal that ends the process.
bool holds_segments(image& file, ElfW(Ehdr) const& header) {
    for (unsigned int i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) segment;
        if (!file.read(segment, header.e_phoff + size_type{i} * sizeof segment) ||
            !file.holds(segment.p_offset, segment.p_filesz)) {
            return false;
        }
    }
    return true;
}

// The sections' table is the last thing in a file: what is cut off is missed here even
// where every segment is whole.
bool holds_sections(image& file, ElfW(Ehdr) const& header) {
    for (unsigned int i = 0; i < header.e_shnum; ++i) {
        ElfW(Shdr) section;
        if (!file.read(section, header.e_shoff + size_type{i} * sizeof section)) {
            return false;
        }
        if (section.sh_type != SHT_NOBITS && !file.holds(section.sh_offset, section.sh_size)) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string image_fault(std::string const& path) {
    std::error_code error;
    auto const status = fs::status(path, error);
    if (!fs::exists(status)) {
        return "";
    }
    if (!fs::is_regular_file(status)) {
        return "is no regular file; put the plug-in's shared object there";
    }
    auto const size = fs::file_size(path, error);
    image file(path, size);
    if (error || !file.is_open()) {
        return "";  // no more to be opened by others
    }
    unsigned char start[EI_NIDENT] = {};
    if (!file.read(start, 0)) {
        return k_is_cut;
    }
    if (!std::equal(start, start + SELFMAG, ELFMAG)) {
        return "is no ELF file; put the plug-in's shared object there";
    }
    // Its records have other sizes: they would be misread here, and the linker refuses it.
    if (start[EI_CLASS] != k_own_class) {
        return "";
    }
    ElfW(Ehdr) header;
    if (!file.read(header, 0) || !holds_segments(file, header) || !holds_sections(file, header)) {
        return k_is_cut;
    }
    return "";
}

}  // namespace kivplug
