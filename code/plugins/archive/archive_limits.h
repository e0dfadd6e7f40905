// Limits for one archive: a few compressed bytes can expand to endless names and data. plugin.xml
// gives the same figures to users.

#ifndef ARCHIVE_LIMITS_H
#define ARCHIVE_LIMITS_H

#include <cstddef>

namespace archives {

// The number of entries, and the total bytes of their paths: an amount for each entry, plus a
// reserve for a few long ones. The paths of all directories may take as much again, including
// directories without an entry. They need a limit of their own: deep directories take much more
// than the entries, and a host that lists them all holds them all in memory.
constexpr std::size_t k_most_entries = 2000000;
constexpr std::size_t most_path_bytes(std::size_t entries) {
    return std::size_t{32} * 1024 * 1024 + entries * std::size_t{128};
}

// What one pass may decompress before it reaches the wanted entry: this much, plus this many
// times the size of the file.
constexpr long long k_most_skipped = 1024LL * 1024 * 1024;
constexpr long long k_most_skipped_ratio = 10000;

// The part of it that the headers of one entry may take. The map of a sparse file is kept in
// memory, and takes twelve times its size in the archive.
constexpr long long k_most_header = 8LL * 1024 * 1024;

// Entries in one access control list: libarchive compares each entry with all before it.
constexpr int k_most_acl = 128;

// The total size of the files that a session keeps when it passes them, for a reader that goes
// back.
constexpr std::size_t k_most_kept_bytes = std::size_t{32} * 1024 * 1024;

// The number of sessions that are kept for the next reader.
constexpr std::size_t k_most_parked = 2;

}  // namespace archives

#endif
