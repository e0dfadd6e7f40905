// Paths of archives and of the entries in them, and names that can be shown.
//
//     archive:/data/a%20b.zip!/dir/          a directory: it ends with a slash
//     archive:/data/a%20b.zip!/dir/file      a file
//     archive:/data/a%20b.zip!/dir/file?2    the second of several entries of that name
//     /data/a b.zip                          anything else is an archive's path: its root
//
// Bytes other than letters, digits and "/", "-", ".", "_", "~" are written as %XX, on both sides
// of the "!". So the first "!" ends the archive's path, the first "?" after it begins the
// ordinal, and a path is unambiguous whatever names it contains. Use "./archive:..." for a file
// whose own name is "archive:...".
//
// The name of an entry never refers to a place outside its archive. Empty components (and so a
// leading slash) and "." are dropped. ".." is an ordinary name, written as %2E%2E so that no host
// resolves it.

#ifndef ARCHIVE_PATH_H
#define ARCHIVE_PATH_H

#include <string>

namespace archives {

struct archive_path {
    std::string archive;       // path of the archive file
    std::string inner;         // as returned by entry_path; empty for the root
    unsigned int ordinal = 1;  // among the entries with this inner path
};

// False if the text begins with "archive:" but is malformed; result is then unspecified.
bool parse(std::string const& text, archive_path& result);

// The inverse of parse.
std::string text_of(archive_path const& path);

// The path under which an entry is listed: components separated by one slash, with a slash at the
// end for a directory. Empty for the root. A file without a name gets the name "unnamed".
std::string entry_path(std::string const& name, bool is_directory);

// The text with every byte that is not part of printable UTF-8 as %XX. Control characters, and
// those that change the direction or the lines of a text, are not printable.
std::string readable(std::string const& text);

// A component as a name to show: readable, and never "..".
std::string readable_name(std::string const& component);

}  // namespace archives

#endif
