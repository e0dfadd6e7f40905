// How much one archive may take, whatever is in it: a few compressed bytes can stand for names
// and data without end. plugin.xml gives the same figures to users.

#ifndef KIVCORE_ARCHIVE_LIMITS_H
#define KIVCORE_ARCHIVE_LIMITS_H

#include <cstddef>

namespace kivcore_archive {

// Entries, and the bytes of their paths taken together: so much for each entry, and some more
// for a few that are long. The paths of all directories may take as much again, those included
// that only the paths of entries name: deep ones come to much more than the entries, and a host
// that lists all of them has them all in memory.
constexpr std::size_t k_most_entries = 2000000;
constexpr std::size_t most_path_bytes(std::size_t entries) {
    return std::size_t{32} * 1024 * 1024 + entries * std::size_t{128};
}

// What one pass may decompress to come to what is wanted, an archive's size aside: this much,
// and this many times the size of the file.
constexpr long long k_most_skipped = 1024LL * 1024 * 1024;
constexpr long long k_most_skipped_ratio = 10000;

// Of that, what the headers of one entry may take: a map of a sparse file is kept in memory, in
// twelve times the size that it has in the archive.
constexpr long long k_most_header = 8LL * 1024 * 1024;

// Entries of one access control list: libarchive compares each with all before it.
constexpr int k_most_acl = 128;

// What a session keeps of the files that it passed, for a reader that goes back.
constexpr std::size_t k_most_kept_bytes = std::size_t{32} * 1024 * 1024;

// How many sessions are kept for the next reader.
constexpr std::size_t k_most_parked = 2;

}  // namespace kivcore_archive

#endif
