#include "image.h"

#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <utility>

// The start of this program's own header, which the linker defines.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the linker's name
extern "C" ElfW(Ehdr) const __ehdr_start __attribute__((visibility("hidden")));

namespace kivplug {

namespace {

using size_type = unsigned long long;

constexpr char const* k_put_object = "put the plug-in's shared object there";
constexpr char const* k_copy_again = "copy it again, whole";

class image {
  public:
    image(descriptor opened, size_type length) : file(std::move(opened)), size(length) {}

    size_type bytes() const { return size; }

    // Reads so many bytes; false when the file does not hold all of them.
    bool read(void* into, size_type count, size_type offset) const {
        return holds(offset, count) &&
               pread(file.get(), into, static_cast<std::size_t>(count),
                     static_cast<off_t>(offset)) == static_cast<ssize_t>(count);
    }

    template <typename record>
    bool read(record& into, size_type offset) const {
        return read(&into, sizeof into, offset);
    }

    // Without a sum that could overflow.
    bool holds(size_type offset, size_type count) const {
        return offset <= size && count <= size - offset;
    }

  private:
    descriptor file;
    size_type size;
};

// How a file's header begins, whatever machine it is for.
struct identity {
    unsigned char bytes[EI_NIDENT];
    std::uint16_t type;
    std::uint16_t machine;  // in the file's byte order
};

// The machine's number, whatever the file's byte order is.
unsigned int machine_of(identity const& file, identity const& own) {
    unsigned int const number = file.machine;
    bool const is_swapped = file.bytes[EI_DATA] != own.bytes[EI_DATA];
    return is_swapped ? (number >> 8 | number << 8) & 0xffffU : number;
}

std::string machine_text(identity const& file, identity const& own) {
    static std::map<unsigned int, std::string> const names = {
        {EM_386, "x86"},      {EM_X86_64, "x86-64"}, {EM_ARM, "ARM"},    {EM_AARCH64, "AArch64"},
        {EM_RISCV, "RISC-V"}, {EM_PPC64, "PowerPC"}, {EM_S390, "S/390"}, {EM_MIPS, "MIPS"},
    };
    unsigned int const machine = machine_of(file, own);
    auto const name = names.find(machine);
    return (name != names.end() ? name->second : "an unknown machine") + " (e_machine " +
           std::to_string(machine) + ", " + (file.bytes[EI_CLASS] == ELFCLASS32 ? "32" : "64") +
           " bits, " + (file.bytes[EI_DATA] == ELFDATA2MSB ? "big" : "little") + "-endian)";
}

// What this program is built for, as its own header in memory says.
identity own_identity() {
    identity own{};
    std::memcpy(&own, &__ehdr_start, sizeof own);
    return own;
}

// None for a file of this machine and system. For some others the linker would say that the file is
// missing.
image_fault machine_fault(identity const& file) {
    auto const own = own_identity();
    auto const built_for = machine_text(file, own);
    auto const wanted = machine_text(own, own);
    constexpr char const* k_put_other = "put one built for this machine there";
    if (built_for != wanted) {
        return {image_fault_kind::other_machine,
                "is built for " + built_for + ", not for " + wanted, k_put_other};
    }
    auto const system = file.bytes[EI_OSABI];
    if (system != ELFOSABI_SYSV && system != ELFOSABI_GNU) {
        return {image_fault_kind::other_machine,
                "is built for another operating system (EI_OSABI " + std::to_string(system) + ")",
                k_put_other};
    }
    return {};
}

// What the linker maps. Touching a mapped page that is after the file's end raises a signal that
// ends the process.
bool holds_segments(image const& file, ElfW(Ehdr) const& header) {
    for (unsigned int i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) segment;
        if (!file.read(segment, header.e_phoff + size_type{i} * sizeof segment) ||
            !file.holds(segment.p_offset, segment.p_filesz)) {
            return false;
        }
    }
    return true;
}

// The table of sections is the last thing in a file: it shows a cut even where every segment is
// whole.
bool holds_sections(image const& file, ElfW(Ehdr) const& header) {
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

// What objcopy and strip leave with --only-keep-debug: code without contents.
bool holds_only_debug(image const& file, ElfW(Ehdr) const& header) {
    for (unsigned int i = 0; i < header.e_shnum; ++i) {
        ElfW(Shdr) section;
        if (!file.read(section, header.e_shoff + size_type{i} * sizeof section)) {
            return false;
        }
        if (section.sh_type == SHT_NOBITS && (section.sh_flags & SHF_EXECINSTR) != 0) {
            return true;
        }
    }
    return false;
}

image_fault fault_of_contents(image const& file) {
    image_fault is_cut{image_fault_kind::cut_short, "is cut short", k_copy_again};
    char magic[SELFMAG] = {};
    auto const start = std::min<size_type>(file.bytes(), sizeof magic);
    if (file.read(magic, start, 0) && !std::equal(magic, magic + start, ELFMAG)) {
        return {image_fault_kind::not_elf, "is not an ELF file", k_put_object};
    }
    identity known{};
    if (!file.read(known, 0)) {
        return is_cut;
    }
    // The records of other machines would be misread.
    auto fault = machine_fault(known);
    if (fault.kind != image_fault_kind::none) {
        return fault;
    }
    ElfW(Ehdr) header;
    if (!file.read(header, 0)) {
        return is_cut;
    }
    if (header.e_phnum != 0 && header.e_phentsize != sizeof(ElfW(Phdr))) {
        return {};  // damaged, and not only at the end
    }
    if (holds_only_debug(file, header)) {
        return {image_fault_kind::only_debug, "holds only debugging information",
                "put the shared object there that it was taken from"};
    }
    return holds_segments(file, header) && holds_sections(file, header) ? image_fault{} : is_cut;
}

}  // namespace

image_fault fault_of_image(std::string const& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return {};
    }
    if (!S_ISREG(status.st_mode)) {
        return {image_fault_kind::not_regular, "is not a regular file", k_put_object};
    }
    if (status.st_size == 0) {
        return {image_fault_kind::empty, "is empty", k_copy_again};
    }
    descriptor opened(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!opened.is_open()) {
        return {};
    }
    return fault_of_contents(image(std::move(opened), static_cast<size_type>(status.st_size)));
}

bool is_mapped_image(file_identity const& file) {
    auto const compare = [](dl_phdr_info* image, std::size_t, void* wanted) {
        struct stat status {};
        auto const* const sought = static_cast<file_identity const*>(wanted);
        return stat(image->dlpi_name, &status) == 0 &&
                       *sought == file_identity{status.st_dev, status.st_ino}
                   ? 1
                   : 0;
    };
    file_identity sought = file;
    return dl_iterate_phdr(compare, &sought) != 0;
}

}  // namespace kivplug
