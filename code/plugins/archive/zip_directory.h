// The directory at the end of a zip archive, for going straight to one entry: libarchive only goes
// forward. What an entry's record says is left to libarchive, which is given an archive of that one
// entry.
//
// Nothing depends on a directory that can be read: without one, and where an entry is not the
// one that was looked for, the archive is read in its order.

#ifndef KIVCORE_ZIP_DIRECTORY_H
#define KIVCORE_ZIP_DIRECTORY_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "archive_source.h"

namespace kivcore_archive {

class zip_directory {
  public:
    // Finds the entries of the descriptor's archive. False, with none, when the directory is
    // missing or malformed.
    bool read(int descriptor, long long file_size);

    // An archive of one entry, the number-th from 0 in the order of their data, which is
    // libarchive's. None when it cannot be made.
    std::optional<file_part> single(int descriptor, std::size_t number) const;

  private:
    struct record {
        long long data;    // where the entry's own header is
        long long offset;  // where its record in the directory is, and how long
        std::size_t size;
    };

    bool add_records(std::string const& bytes, long long shift);

    long long directory = 0;  // where it begins
    std::vector<record> records;
};

}  // namespace kivcore_archive

#endif
