// The content of one archive, from its directory or from one pass over it. It is read once;
// queries do not access the file.
//
// The entries are sorted by path. A directory is the range of paths that begin with its own path,
// whether or not the archive has an entry for it. So there is no tree: depth costs nothing, and a
// list takes one binary search for each line.

#ifndef ARCHIVE_INDEX_H
#define ARCHIVE_INDEX_H

#include <cstddef>
#include <ctime>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "archive_file.h"

namespace archives {

class archive_walk;
struct archive_path;

class archive_index {
  public:
    struct entry {
        std::string path;                     // as returned by entry_path of archive_path.h
        std::string link;                     // target of a link; empty if it is not a link
        std::string const* format = nullptr;  // owned by the index
        std::optional<long long> size;
        std::optional<time_t> modified;
        unsigned int type = 0;         // AE_IFREG and so on
        unsigned int permissions = 0;  // the low twelve bits of a mode
        bool is_hard_link = false;
        bool is_encrypted = false;
    };
    using name_list = std::vector<std::pair<std::string, std::string>>;

    archive_index() = default;
    archive_index(archive_index const&) = delete;
    archive_index& operator=(archive_index const&) = delete;

    // Reads an archive into an empty index. Returns 0, or a negative value of archive_walk if it
    // is not an archive. If the archive is damaged later, reads it up to the damage.
    int read(std::string const& archive);

    // Whether this archive was read, and its file has not changed.
    bool is_of(std::string const& archive) const;

    // The directories and files directly below a directory, as (name to show, path), ordered by
    // their bytes. The directory is "" or ends with a slash. Entries with the same name keep the
    // archive's order, and show their number.
    void list(std::string const& directory, name_list& dirs, name_list& files) const;

    bool has_directory(std::string const& directory) const;

    // The entry with this inner path and ordinal, which may be a directory; null if there is
    // none.
    entry const* find(archive_path const& wanted) const;

    std::size_t entry_count() const noexcept { return entries.size(); }
    std::string const& compression() const noexcept { return outer_compression; }
    std::string const& format() const noexcept { return archive_format; }

    // Why the index is incomplete; empty if it is complete.
    std::string const& damage() const noexcept { return damage_text; }

    // Whether the reason is a limit of archive_limits.h rather than damage.
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

}  // namespace archives

#endif
