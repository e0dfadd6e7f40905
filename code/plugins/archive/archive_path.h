// Paths of archives and of what is in them, and names that can be shown.
//
//     archive:/data/a%20b.zip!/dir/          a directory, by the slash at its end
//     archive:/data/a%20b.zip!/dir/file      a file
//     archive:/data/a%20b.zip!/dir/file?2    the second of several entries of that name
//     /data/a b.zip                          all else is an archive's own path: its root
//
// Bytes other than letters, digits and "/", "-", ".", "_", "~" are written %XX, on both
// sides of the "!": so the first "!" ends the archive's path, the first "?" after it begins
// the ordinal, and a path says one thing whatever the names in it are. A file that is
// itself called "archive:..." is reached as "./archive:...".
//
// What an entry is called in its archive never leads out of it. Empty components and "."
// are dropped, a leading slash with them; ".." is a name like any other, written %2E%2E
// so that no host resolves it.

#ifndef KIVCORE_ARCHIVE_PATH_H
#define KIVCORE_ARCHIVE_PATH_H

#include <string>

namespace kivcore_archive {

struct archive_path {
    std::string archive;       // path of the archive file
    std::string inner;         // as entry_path gives it; empty for the root
    unsigned int ordinal = 1;  // among the entries with this inner path
};

// False, with result in any state, when the text begins like a path into an archive and
// is malformed.
bool parse(std::string const& text, archive_path& result);

// The text that parse takes back.
std::string text_of(archive_path const& path);

// The path under which an entry is listed: components separated by one slash, with a slash
// at the end of a directory's. Empty for the root. A file without a name gets one.
std::string entry_path(std::string const& name, bool is_directory);

// The text with every byte that is not part of printable UTF-8 as %XX: control characters
// and those that change the direction or the lines of a text count as not printable.
std::string readable(std::string const& text);

// One component as a name to show: readable, and never "..".
std::string readable_name(std::string const& component);

}  // namespace kivcore_archive

#endif
