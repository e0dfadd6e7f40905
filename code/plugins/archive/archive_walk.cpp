#include "archive_walk.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <utility>

#include <archive.h>
#include <archive_entry.h>

#include "archive_path.h"

namespace kivcore_archive {

namespace {

// What libarchive reads at once: enough that a call of the system costs next to nothing.
constexpr std::size_t k_block_size = std::size_t{64} * 1024;

// libarchive converts names to the characters of the thread's locale, and loses those that
// the locale lacks: while one of these lives, the thread has UTF-8. Without such a locale in
// the system, the thread keeps its own.
class locale_scope {
  public:
    explicit locale_scope(locale_t locale) : previous(uselocale(locale)) {}
    ~locale_scope() { uselocale(previous); }
    locale_scope(locale_scope const&) = delete;
    locale_scope& operator=(locale_scope const&) = delete;

  private:
    locale_t previous;
};

struct filter {
    char const* (*version)();
    int (*support)(archive*);
};

// A libarchive that was built without the library for a compression would start a program
// in its place. Then the compression is left out.
void support_filters(archive* handle) {
    constexpr filter k_filters[] = {
        {archive_zlib_version, archive_read_support_filter_gzip},
        {archive_bzlib_version, archive_read_support_filter_bzip2},
        {archive_liblzma_version, archive_read_support_filter_xz},
        {archive_libzstd_version, archive_read_support_filter_zstd},
    };
    for (filter const& each : k_filters) {
        if (each.version() != nullptr) {
            each.support(handle);
        }
    }
}

// Chosen by name: among all formats there are some whose entries refer to other files.
void support_formats(archive* handle) {
    archive_read_support_format_zip(handle);
    archive_read_support_format_tar(handle);
    archive_read_support_format_7zip(handle);
}

std::string text_or_empty(char const* text) {
    return text != nullptr ? text : "";
}

}  // namespace

int open_file(std::string const& path, bundled::descriptor& result) {
    if (path.find('\0') != std::string::npos) {
        return -ENOENT;
    }
    bundled::descriptor opened = bundled::open_for_reading(path.c_str());
    if (!opened.is_open()) {
        return opened.get();
    }
    struct stat status = {};
    if (fstat(opened.get(), &status) != 0) {
        return -errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? -EISDIR : -EINVAL;
    }
    result = std::move(opened);
    return 0;
}

void archive_walk::free_archive::operator()(archive* freed) const {
    archive_read_free(freed);
}

void archive_walk::free_locale::operator()(locale_t locale) const {
    freelocale(locale);
}

int archive_walk::start(int descriptor) {
    current = nullptr;
    if (!utf8) {
        utf8.reset(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr));
    }
    locale_scope const scope(utf8.get());
    handle.reset(archive_read_new());
    if (!handle) {
        return -ENOMEM;
    }
    support_filters(handle.get());
    support_formats(handle.get());
    if (lseek(descriptor, 0, SEEK_SET) != 0) {
        return -errno;
    }
    int const result = archive_read_open_fd(handle.get(), descriptor, k_block_size);
    return result == ARCHIVE_OK ? 0 : failure();
}

int archive_walk::next() {
    locale_scope const scope(utf8.get());
    int const result = archive_read_next_header(handle.get(), &current);
    if (result == ARCHIVE_EOF) {
        return 0;
    }
    // A warning is about a part of the entry, a name in wrong characters for one.
    return result == ARCHIVE_OK || result == ARCHIVE_WARN ? 1 : failure();
}

std::string archive_walk::path() const {
    locale_scope const scope(utf8.get());
    return entry_path(text_or_empty(archive_entry_pathname(current)),
                      archive_entry_filetype(current) == AE_IFDIR);
}

std::string archive_walk::link() const {
    locale_scope const scope(utf8.get());
    char const* const hard = archive_entry_hardlink(current);
    return text_or_empty(hard != nullptr ? hard : archive_entry_symlink(current));
}

std::string archive_walk::format() const {
    return text_or_empty(archive_format_name(handle.get()));
}

std::string archive_walk::compression() const {
    bool const is_plain = archive_filter_code(handle.get(), 0) == ARCHIVE_FILTER_NONE;
    return is_plain ? "" : text_or_empty(archive_filter_name(handle.get(), 0));
}

int archive_walk::next_data(void const*& data, unsigned long long& size, long long& offset) {
    std::size_t count = 0;
    la_int64_t position = offset;
    int const result = archive_read_data_block(handle.get(), &data, &count, &position);
    if (result != ARCHIVE_OK && result != ARCHIVE_EOF) {
        return failure();
    }
    size = count;
    offset = position;
    return result == ARCHIVE_OK ? 1 : 0;
}

std::string archive_walk::message() const {
    return handle ? text_or_empty(archive_error_string(handle.get())) : "";
}

// libarchive has numbers of its own for damage, and the system's for some of the rest. Only
// those that say something else than damage are passed on.
int archive_walk::failure() const {
    int const number = archive_errno(handle.get());
    return number == ENOMEM || number == EIO ? -number : -EBADMSG;
}

}  // namespace kivcore_archive
