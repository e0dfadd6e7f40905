// One pass over the entries of an archive file, from its beginning. It reads the file
// behind the descriptor and touches nothing else: no other file, no other program.
// Failures are negative errno values; EBADMSG stands for what is no archive of the
// formats that the plug-ins know, is cut short or is damaged.

#ifndef KIVCORE_ARCHIVE_WALK_H
#define KIVCORE_ARCHIVE_WALK_H

#include <clocale>
#include <memory>
#include <string>
#include <type_traits>

#include "../descriptor.h"

struct archive;
struct archive_entry;

namespace kivcore_archive {

// Opens a regular file for reading, and nothing that could block. 0, or negative with
// result as it was.
int open_file(std::string const& path, bundled::descriptor& result);

class archive_walk {
  public:
    // Goes to the beginning, before the first entry. The descriptor is the caller's and
    // has to stay open, with its position left alone, as long as the walk goes on. 0 or
    // negative.
    int start(int descriptor);

    // Goes to the next entry, past the data of the one before. 1, 0 at the end, negative
    // for damage, after which only start makes sense.
    int next();

    // The entry that next went to: valid until the next call.
    archive_entry* entry() const noexcept { return current; }

    // Its path, as entry_path of archive_path.h gives it, and the text of its link: both as
    // UTF-8 where the archive says in which characters they are written, and as the bytes
    // that it holds where it does not, whatever the locale of the process is.
    std::string path() const;
    std::string link() const;

    // The format of the archive, for zip with the compression of the entry, and the
    // compression around the archive ("gzip"), empty for none. Known after next.
    std::string format() const;
    std::string compression() const;

    // The next piece of the entry's data, valid until the next call on the walk, and where
    // it lies in the file: holes are left out. 1, 0 at the end, with offset at the end of
    // the file, or negative.
    int next_data(void const*& data, unsigned long long& size, long long& offset);

    // What went wrong with the call that failed.
    std::string message() const;

  private:
    struct free_archive {
        void operator()(archive* freed) const;
    };
    struct free_locale {
        void operator()(locale_t locale) const;
    };

    int failure() const;

    std::unique_ptr<std::remove_pointer_t<locale_t>, free_locale> utf8;
    std::unique_ptr<archive, free_archive> handle;
    archive_entry* current = nullptr;
};

}  // namespace kivcore_archive

#endif
