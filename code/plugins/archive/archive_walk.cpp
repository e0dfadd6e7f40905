#include "archive_walk.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <limits>

#include <archive.h>
#include <archive_entry.h>

#include "archive_limits.h"
#include "archive_path.h"

namespace archives {

namespace {

// libarchive converts names to the encoding of the thread's locale, and loses characters that the
// locale lacks. So the thread uses UTF-8 while one of these lives. If the system has no such
// locale, the thread keeps its own.
class locale_scope {
  public:
    explicit locale_scope(locale_t locale) : previous(uselocale(locale)) {}
    ~locale_scope() { uselocale(previous); }
    locale_scope(locale_scope const&) = delete;
    locale_scope& operator=(locale_scope const&) = delete;

  private:
    locale_t previous;
};

// Names each format, because some of the others have entries that refer to other files. Fails
// only if memory runs out. Do not ignore that: without one half of its support, a zip would be
// read differently.
bool support_formats(archive* handle) {
    return archive_read_support_format_zip(handle) == ARCHIVE_OK &&
           archive_read_support_format_tar(handle) == ARCHIVE_OK &&
           archive_read_support_format_7zip(handle) == ARCHIVE_OK;
}

std::string text_or_empty(char const* text) {
    return text != nullptr ? text : "";
}

// libarchive has no error number for an unsupported compression, and reports it as damage.
bool is_about_support(std::string const& message) {
    constexpr char const* k_phrases[] = {"nsupported", "not supported", "Unknown codec"};
    return std::any_of(std::begin(k_phrases), std::end(k_phrases), [&](char const* phrase) {
        return message.find(phrase) != std::string::npos;
    });
}

}  // namespace

long long most_skipped(long long file_size) {
    constexpr long long k_largest =
        (std::numeric_limits<long long>::max() - k_most_skipped) / k_most_skipped_ratio;
    return k_most_skipped + k_most_skipped_ratio * std::min(file_size, k_largest);
}

void archive_walk::free_locale::operator()(locale_t locale) const {
    freelocale(locale);
}

int archive_walk::start(int descriptor, file_part const& part) {
    reason = nullptr;
    has_entries = false;
    if (!utf8) {
        errno = 0;
        utf8.reset(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr));
        if (errno == ENOMEM) {
            return -ENOMEM;
        }
    }
    locale_scope const scope(utf8.get());
    handle.reset(archive_read_new());
    current.reset(archive_entry_new());
    if (!handle || !current || !support_formats(handle.get())) {
        return -ENOMEM;
    }
    left = most_skipped(part.end - part.begin);
    source.allow(left);
    errno = 0;
    int const result = source.open(handle.get(), descriptor, part);
    source.forget();  // to recognise the format, libarchive seeks and reads anywhere in the file
    left = source.left();
    return result == ARCHIVE_OK && errno != ENOMEM ? 0 : failure();
}

int archive_walk::next() {
    locale_scope const scope(utf8.get());
    errno = 0;
    source.allow(left);
    int const skipped = has_entries ? archive_read_data_skip(handle.get()) : ARCHIVE_OK;
    left = source.left();
    if (skipped == ARCHIVE_EOF || skipped == ARCHIVE_FATAL) {
        return failure();
    }
    long long const room = std::min(left, k_most_header);
    source.allow(room);
    int const result = archive_read_next_header2(handle.get(), current.get());
    left -= room - source.left();
    if (result == ARCHIVE_EOF) {
        return at_end();
    }
    has_entries = true;
    // A warning concerns part of the entry, for example a name in a wrong encoding.
    bool const has_entry = result == ARCHIVE_OK || result == ARCHIVE_WARN;
    if (!has_entry || errno == ENOMEM) {
        return failure();
    }
    constexpr int k_any = ARCHIVE_ENTRY_ACL_TYPE_POSIX1E | ARCHIVE_ENTRY_ACL_TYPE_NFS4;
    bool const has_short_acl = archive_entry_acl_count(entry(), k_any) <= k_most_acl;
    return has_short_acl ? 1 : stop(-EFBIG, "the access control list of an entry is too long");
}

// libarchive accepts an archive that ends where an entry could begin. A tar archive ends with two
// empty blocks: if libarchive read past the last byte, they are missing. A zip archive ends with
// a directory: if libarchive did not seek to it, it is missing.
int archive_walk::at_end() {
    if (is_format(ARCHIVE_FORMAT_TAR) && source.is_exhausted()) {
        return stop(-EBADMSG, "the end marker of the archive is missing");
    }
    bool const is_plain_zip = is_format(ARCHIVE_FORMAT_ZIP) && !source.is_compressed();
    if (is_plain_zip && has_entries && !source.was_sought()) {
        return stop(-EBADMSG, "the directory at the end of the archive is missing");
    }
    source.allow(left);
    return source.drain() == 0 ? 0 : failure();
}

int archive_walk::stop(int result, char const* why) {
    reason = why;
    return result;
}

std::string archive_walk::path() const {
    locale_scope const scope(utf8.get());
    return entry_path(text_or_empty(archive_entry_pathname(entry())),
                      archive_entry_filetype(entry()) == AE_IFDIR);
}

std::string archive_walk::link() const {
    locale_scope const scope(utf8.get());
    char const* const hard = archive_entry_hardlink(entry());
    return text_or_empty(hard != nullptr ? hard : archive_entry_symlink(entry()));
}

// For zip, libarchive's name of the format includes the compression of the last entry.
std::string archive_walk::format() const {
    return is_format(ARCHIVE_FORMAT_ZIP) ? "ZIP" : entry_format();
}

std::string archive_walk::entry_format() const {
    return text_or_empty(archive_format_name(handle.get()));
}

bool archive_walk::is_format(int family) const {
    return handle && (archive_format(handle.get()) & ARCHIVE_FORMAT_BASE_MASK) == family;
}

long long archive_walk::header_position() const {
    return archive_read_header_position(handle.get());
}

int archive_walk::next_data(void const*& data, unsigned long long& size, long long& offset) {
    std::size_t count = 0;
    la_int64_t position = offset;
    source.allow(-1);  // no limit for data that the caller requests
    errno = 0;
    int const result = archive_read_data_block(handle.get(), &data, &count, &position);
    if (result != ARCHIVE_OK && result != ARCHIVE_EOF) {
        return failure();
    }
    size = count;
    offset = position;
    return result == ARCHIVE_OK ? 1 : 0;
}

std::string archive_walk::message() const {
    if (reason != nullptr) {
        return reason;
    }
    if (source.failure() != 0) {
        return source.message();
    }
    std::string text = handle ? text_or_empty(archive_error_string(handle.get())) : "";
    // libarchive may give no reason.
    return !text.empty() ? text : "the archive is damaged or incomplete";
}

// libarchive uses its own numbers for damage, and errno values for some other failures. Only
// failures other than damage are passed on. If an allocation fails, libarchive may continue and
// misread the archive, so errno is set to 0 before each call and checked afterwards.
int archive_walk::failure() const {
    if (errno == ENOMEM || archive_errno(handle.get()) == ENOMEM) {
        return -ENOMEM;
    }
    if (source.failure() != 0) {
        return -source.failure();
    }
    return is_about_support(message()) ? -EOPNOTSUPP : -EBADMSG;
}

}  // namespace archives
