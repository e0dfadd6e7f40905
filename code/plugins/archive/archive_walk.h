// One pass over the entries of an archive file. It reads the descriptor's file, and uses no other
// file and no other program. Failures are negative errno values: EBADMSG if the file is not an
// archive of a known format, is truncated or is damaged; EOPNOTSUPP for a compression or an
// encryption that libarchive does not support; EFBIG if a limit of archive_limits.h is exceeded;
// otherwise the system's error for reading the file.

#ifndef ARCHIVE_WALK_H
#define ARCHIVE_WALK_H

#include <clocale>
#include <memory>
#include <string>
#include <type_traits>

#include "archive_source.h"

namespace archives {

class archive_walk {
  public:
    // Moves to the beginning, before the first entry. The caller owns the descriptor, and must
    // keep it open until the walk is destroyed or attach is called. Returns 0, or a negative
    // value on failure.
    int start(int descriptor, file_part const& part);

    // Continues with another descriptor of the same file.
    void attach(int descriptor) noexcept { source.attach(descriptor); }

    // Moves to the next entry, past the data of the current one. Returns 1, 0 at the end, or a
    // negative value on failure, after which only start makes sense.
    int next();

    // The current entry, valid until the next call of next.
    archive_entry* entry() const noexcept { return current.get(); }

    // The entry's path, as returned by entry_path of archive_path.h, and the target of its link.
    // If the archive declares the encoding of its names, both are UTF-8, otherwise the bytes in
    // the archive. The locale of the process has no influence.
    std::string path() const;
    std::string link() const;

    // Available after next. The format of the archive so far; the format of the entry, which for
    // zip includes the compression; and the compression of the whole archive ("gzip"), empty if
    // there is none.
    std::string format() const;
    std::string entry_format() const;
    std::string compression() const { return source.compression(); }

    // Whether the archive is of this family of formats: ARCHIVE_FORMAT_ZIP and so on.
    bool is_format(int family) const;
    bool is_compressed() const noexcept { return source.is_compressed(); }

    // Where the entry's headers begin in the part that was passed to start. Only valid if the
    // archive as a whole is not compressed.
    long long header_position() const;

    // The next piece of the entry's data, valid until the next call on the walk, and its offset
    // in the file. Holes are left out. Returns 1, 0 at the end (then offset is the end of the
    // file), or a negative value on failure.
    int next_data(void const*& data, unsigned long long& size, long long& offset);

    // Describes the failure of the last call.
    std::string message() const;

  private:
    struct free_locale {
        void operator()(locale_t locale) const;
    };

    int at_end();
    int stop(int result, char const* why);
    int failure() const;

    std::unique_ptr<std::remove_pointer_t<locale_t>, free_locale> utf8;
    archive_source source;
    archive_handle handle;  // reads from the source
    entry_handle current;   // our own: libarchive does not check that its own could be allocated
    long long left = 0;     // bytes that may still be decompressed outside next_data
    bool has_entries = false;
    char const* reason = nullptr;  // set if libarchive does not report the failure
};

// The most that one pass over a file of this size may decompress before it reaches the wanted
// entry.
long long most_skipped(long long file_size);

}  // namespace archives

#endif
