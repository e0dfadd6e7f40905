// The directory at the end of a zip archive, used to go directly to an entry, because libarchive
// only goes forward. libarchive still interprets the entry's record: it gets an archive that
// consists of that one entry.
//
// A readable directory is not required: without one, or if an entry is not the wanted one, the
// archive is read in order.

#ifndef ARCHIVE_ZIP_DIRECTORY_H
#define ARCHIVE_ZIP_DIRECTORY_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "archive_source.h"

namespace archives {

class zip_directory {
  public:
    // Finds the entries of the descriptor's archive. False, without entries, if the directory is
    // missing or malformed.
    bool read(int descriptor, long long file_size);

    // An archive that consists of one entry: the number-th, from 0, in the order of their data,
    // which is libarchive's order. Empty if it cannot be made.
    std::optional<file_part> single(int descriptor, std::size_t number) const;

  private:
    struct record {
        long long data;    // where the entry's own header is
        long long offset;  // position and size of its record in the directory
        std::size_t size;
    };

    bool add_records(std::string const& bytes, long long shift);

    long long directory = 0;  // where it begins
    std::vector<record> records;
};

}  // namespace archives

#endif
