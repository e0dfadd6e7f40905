// What is in one archive, as its directory lists it or as one pass over it shows: read
// once, then asked any number of times without touching the file.
//
// The entries are sorted by path. A directory is the range of paths that begin with its
// own, whether the archive has an entry for it or not, so there is no tree to build or to
// descend: depth costs nothing, and a list takes a binary search for each line.

#ifndef KIVCORE_ARCHIVE_INDEX_H
#define KIVCORE_ARCHIVE_INDEX_H

#include <cstddef>
#include <ctime>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "archive_file.h"

namespace kivcore_archive {

class archive_walk;
struct archive_path;

class archive_index {
  public:
    struct entry {
        std::string path;                     // as entry_path of archive_path.h gives it
        std::string link;                     // where a link leads; empty for what is none
        std::string const* format = nullptr;  // belongs to the index
        std::optional<long long> size;
        std::optional<time_t> modified;
        unsigned int type = 0;         // AE_IFREG and its like
        unsigned int permissions = 0;  // the lower twelve bits of a mode
        bool is_hard_link = false;
        bool is_encrypted = false;
    };
    using name_list = std::vector<std::pair<std::string, std::string>>;

    archive_index() = default;
    archive_index(archive_index const&) = delete;
    archive_index& operator=(archive_index const&) = delete;

    // Reads an archive into an empty index. 0, or negative as of archive_walk when there is
    // none. One that is damaged further on is read up to there.
    int read(std::string const& archive);

    // Whether it is this archive that was read, and the file is still the same.
    bool is_of(std::string const& archive) const;

    // The directories and files directly below a directory, "" or with a slash at its end, as
    // (name to show, path) in the order of their bytes. Entries of the same name follow each
    // other in the archive's order, with their number shown.
    void list(std::string const& directory, name_list& dirs, name_list& files) const;

    bool has_directory(std::string const& directory) const;

    // The entry with the wanted inner path and ordinal, a directory's included; null if there is
    // none.
    entry const* find(archive_path const& wanted) const;

    std::size_t entry_count() const noexcept { return entries.size(); }
    std::string const& compression() const noexcept { return outer_compression; }
    std::string const& format() const noexcept { return archive_format; }

    // Why the index ends before the archive does; empty when it does not.
    std::string const& damage() const noexcept { return damage_text; }

    // Whether that is because of archive_limits.h, and not of the archive's state.
    bool is_limited() const noexcept { return limited; }

  private:
    using iterator = std::vector<entry>::const_iterator;

    iterator first_from(iterator begin, std::string const& wanted) const;
    bool add(archive_walk const& walk);
    void bound_directories();
    void limit(std::string const& reason);

    std::string path;
    archive_file file;  // closed
    std::set<std::string> formats;
    std::vector<entry> entries;
    std::size_t path_bytes = 0;
    std::string archive_format;
    std::string outer_compression;
    std::string damage_text;
    bool limited = false;
};

}  // namespace kivcore_archive

#endif
