#include "elf_file.h"

#include <fcntl.h>
#include <gelf.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "failure.h"

namespace kivplug {

namespace {

// A table of a plug-in has some kilobytes. What is larger than this is not read.
constexpr std::size_t k_most_bytes = std::size_t{32} << 20;

[[noreturn]] void fail_outside(char const* what) {
    throw malformed(std::string("has its ") + what + " outside the file");
}

// Without them, nothing is known about the file.
void require_resources(std::string const& path) {
    if (errno == EMFILE || errno == ENFILE || errno == ENOMEM) {
        throw failure("cannot read '" + path + "': " + error_text(errno) +
                      "; try again with more memory or with a larger limit of open files");
    }
}

bool is_of_this_machine(Elf* file) {
    int const own_class = sizeof(void*) == sizeof(Elf64_Addr) ? ELFCLASS64 : ELFCLASS32;
    return elf_kind(file) == ELF_K_ELF && gelf_getclass(file) == own_class;
}

// What the dynamic linker says of a header that it refuses; empty for one that it takes.
std::string header_fault(ElfW(Ehdr) const& header) {
    if (header.e_ident[EI_VERSION] != EV_CURRENT || header.e_version != EV_CURRENT) {
        return "is of an unknown version of the ELF format";
    }
    return header.e_phentsize == sizeof(elf_segment)
               ? ""
               : "has no program headers, or a damaged header";
}

// What another kind of ELF file is; empty for a shared object.
std::string kind_of(unsigned int type) {
    switch (type) {
        case ET_DYN:
            return "";
        case ET_EXEC:
            return "is a program";
        case ET_REL:
            return "is an unlinked object file";
        case ET_CORE:
            return "is a core dump";
        default:
            return "is of the unknown type " + std::to_string(type);
    }
}

bool is_aligned(elf_segment const& segment) {
    auto const page = static_cast<elf_address>(sysconf(_SC_PAGESIZE));
    auto const alignment = segment.p_align;
    return alignment % page == 0 && (alignment & (alignment - 1)) == 0 &&
           (segment.p_vaddr - segment.p_offset) % std::max(alignment, page) == 0;
}

}  // namespace

void elf_file::end_elf::operator()(Elf* file) const {
    elf_end(file);
}

elf_file::elf_file(std::string const& path, elf_role expected)
    : opened(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (!opened.is_open()) {
        require_resources(path);
        throw malformed("cannot be opened: " + error_text(errno));
    }
    elf_version(EV_CURRENT);
    // Reads what is asked for. To map the file would end this program if it became shorter.
    handle.reset(elf_begin(opened.get(), ELF_C_READ, nullptr));
    if (!handle || !is_of_this_machine(handle.get())) {
        throw malformed("has a header that cannot be read");
    }
    header = *static_cast<ElfW(Ehdr) const*>(bytes_at(0, sizeof header, "header"));
    require_header(expected);
    read_segments();
    require_segments();
}

void elf_file::require_header(elf_role expected) const {
    auto const kind = kind_of(header.e_type);
    if (!kind.empty() && expected == elf_role::library) {
        throw not_shared(kind);
    }
    auto const fault = header_fault(header);
    if (!fault.empty()) {
        throw malformed(fault);
    }
}

void elf_file::read_segments() {
    auto const* const first = static_cast<elf_segment const*>(
        bytes_at(header.e_phoff, header.e_phnum * sizeof(elf_segment), "program headers"));
    loaded.assign(first, first + header.e_phnum);
}

void elf_file::require_segments() const {
    elf_address end = 0;
    bool is_loaded = false;
    for (auto const& each : loaded) {
        if (each.p_type != PT_LOAD) {
            continue;
        }
        if (!is_aligned(each) || each.p_filesz > each.p_memsz || each.p_vaddr < end ||
            each.p_vaddr + each.p_memsz < each.p_vaddr) {
            throw malformed("has segments that cannot be loaded as its program headers say");
        }
        end = each.p_vaddr + each.p_memsz;
        is_loaded = true;
    }
    if (!is_loaded) {
        throw malformed("has no segment to load");
    }
}

std::vector<elf_section> elf_file::sections() const {
    if (header.e_shnum == 0 || header.e_shentsize != sizeof(elf_section)) {
        return {};
    }
    auto const* const first = static_cast<elf_section const*>(
        bytes_at(header.e_shoff, header.e_shnum * sizeof(elf_section), "section headers"));
    return {first, first + header.e_shnum};
}

bool elf_file::is_code(elf_address address) const {
    return std::any_of(loaded.begin(), loaded.end(), [=](elf_segment const& each) {
        return each.p_type == PT_LOAD && (each.p_flags & PF_X) != 0 && address >= each.p_vaddr &&
               address - each.p_vaddr < each.p_memsz;
    });
}

void elf_file::require_count(std::size_t count, std::size_t size, char const* what) {
    if (count > k_most_bytes / size) {
        throw malformed(std::string("has a ") + what + " that is too large to be true");
    }
}

elf_segment const& elf_file::segment_with(elf_address address, char const* what) const {
    auto const found = std::find_if(loaded.begin(), loaded.end(), [=](elf_segment const& each) {
        return each.p_type == PT_LOAD && address >= each.p_vaddr &&
               address - each.p_vaddr < each.p_filesz;
    });
    if (found == loaded.end()) {
        fail_outside(what);
    }
    return *found;
}

elf_table<char> elf_file::from(elf_address address, std::size_t most, char const* what) const {
    auto const& segment = segment_with(address, what);
    auto const start = address - segment.p_vaddr;
    auto const size = std::min<std::size_t>(most, segment.p_filesz - start);
    return {static_cast<char const*>(bytes_at(segment.p_offset + start, size, what)), size};
}

void const* elf_file::loaded_bytes(elf_address address, std::size_t size, char const* what) const {
    if (size == 0) {
        return nullptr;
    }
    auto const found = from(address, size, what);
    if (found.size() < size) {
        fail_outside(what);
    }
    return found.begin();
}

// libelf compares with the size of the file, and gives memory that is aligned for any record.
void const* elf_file::bytes_at(elf_address offset, std::size_t size, char const* what) const {
    if (size == 0) {
        return nullptr;
    }
    auto const* const data =
        elf_getdata_rawchunk(handle.get(), static_cast<int64_t>(offset), size, ELF_T_BYTE);
    if (data == nullptr || data->d_buf == nullptr) {
        fail_outside(what);
    }
    return data->d_buf;
}

}  // namespace kivplug
