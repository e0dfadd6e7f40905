// One pass over the entries of an archive file. It reads the descriptor's file and touches nothing
// else: no other file, no other program. Failures are negative errno values: EBADMSG for what is
// not an archive of the formats that the plug-ins know, is cut short or is damaged; EOPNOTSUPP for
// a compression or an encryption inside it that libarchive lacks; EFBIG for what is beyond
// archive_limits.h; what kept the file from being read.

#ifndef KIVCORE_ARCHIVE_WALK_H
#define KIVCORE_ARCHIVE_WALK_H

#include <clocale>
#include <memory>
#include <string>
#include <type_traits>

#include "archive_source.h"

namespace kivcore_archive {

class archive_walk {
  public:
    // Goes to the beginning, before the first entry. The descriptor stays owned by the caller, and
    // must stay open until the walk ends or attach is called. 0 or negative.
    int start(int descriptor, file_part const& part);

    // Goes on through another descriptor of the same file.
    void attach(int descriptor) noexcept { source.attach(descriptor); }

    // Goes to the next entry, past the data of the one before. 1, 0 at the end, negative
    // for damage, after which only start makes sense.
    int next();

    // The entry that next went to: valid until the next call.
    archive_entry* entry() const noexcept { return current.get(); }

    // Its path, as entry_path of archive_path.h gives it, and the text of its link: both as
    // UTF-8 where the archive says in which characters they are written, and as the bytes
    // that it holds where it does not, whatever the locale of the process is.
    std::string path() const;
    std::string link() const;

    // The format of the archive as far as it was read, the format of the entry, which for zip
    // has the compression, and the compression around the archive ("gzip"), empty for none.
    // Known after next.
    std::string format() const;
    std::string entry_format() const;
    std::string compression() const { return source.compression(); }

    // Whether it is of this family of formats: ARCHIVE_FORMAT_ZIP and its like.
    bool is_format(int family) const;
    bool is_compressed() const noexcept { return source.is_compressed(); }

    // Where the entry's headers begin: in the part that was given to start, and only where
    // nothing is compressed around the archive.
    long long header_position() const;

    // The next piece of the entry's data, valid until the next call on the walk, and where it is in
    // the file: holes are left out. 1, 0 at the end, with offset at the end of the file, or
    // negative.
    int next_data(void const*& data, unsigned long long& size, long long& offset);

    // What went wrong with the call that failed.
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
    entry_handle current;   // libarchive's own may be null for lack of memory, and is not checked
    long long left = 0;     // what may still be decompressed between the data that is asked for
    bool has_entries = false;
    char const* reason = nullptr;  // of an end that libarchive has no failure for
};

// The most that one pass over a file of this size may decompress to come to what is wanted.
long long most_skipped(long long file_size);

}  // namespace kivcore_archive

#endif
