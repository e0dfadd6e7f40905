#include "archive_index.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <archive_entry.h>

#include "archive_limits.h"
#include "archive_path.h"
#include "archive_walk.h"

namespace archives {

namespace {

bool begins_with(std::string const& text, std::string const& start) {
    return text.compare(0, start.size(), start) == 0;
}

// The smallest string after all paths in this directory.
std::string end_of_directory(std::string directory) {
    directory.back() = '/' + 1;
    return directory;
}

// The total path length of the directories that contain this entry but not the one sorted before
// it. Stops counting once it exceeds room.
std::size_t new_directory_bytes(std::string const& before, std::string const& path,
                                std::size_t room) {
    auto const differ = std::mismatch(path.begin(), path.end(), before.begin(), before.end()).first;
    std::size_t slash = path.find('/', static_cast<std::size_t>(differ - path.begin()));
    std::size_t bytes = 0;
    while (slash != std::string::npos && bytes <= room) {
        bytes += slash + 1;
        slash = path.find('/', slash + 1);
    }
    return bytes;
}

}  // namespace

int archive_index::read(std::string const& archive) {
    int result = open_file(archive, file);
    if (result != 0) {
        return result;
    }
    bundled::descriptor const opened = std::move(file.descriptor);  // closed on return
    archive_walk walk;
    // The first entry must be readable, otherwise this is not an archive. A later failure is
    // damage, and the entries so far are kept. Any entry may exceed a limit.
    result = walk.start(opened.get(), {0, file.status.st_size, ""});
    if (result == 0) {
        result = walk.next();
    }
    if (result < 0 && result != -EFBIG) {
        return result;
    }
    path = archive;
    outer_compression = walk.compression();
    while (result == 1 && add(walk)) {
        result = walk.next();
    }
    if (result == -ENOMEM) {
        return result;
    }
    archive_format = walk.format();
    if (result < 0) {
        damage_text = walk.message();
        limited = result == -EFBIG;
    }
    // Stable, because ordinals number the entries of one path in the archive's order.
    std::stable_sort(entries.begin(), entries.end(),
                     [](entry const& a, entry const& b) { return a.path < b.path; });
    bound_directories();
    return 0;
}

// Drops the entries whose directories exceed the limit.
void archive_index::bound_directories() {
    std::size_t const count = entries.size();
    std::size_t room = most_path_bytes(count);
    std::string before;
    auto const is_beyond = [&](entry const& each) {
        std::size_t const needed = new_directory_bytes(before, each.path, room);
        if (needed > room) {
            return true;
        }
        room -= needed;
        before = each.path;
        return false;
    };
    entries.erase(std::remove_if(entries.begin(), entries.end(), is_beyond), entries.end());
    if (entries.size() < count) {
        limit(
            "the paths of its directories are too long: " + std::to_string(count - entries.size()) +
            " of " + std::to_string(count) + " entries are not listed");
    }
}

void archive_index::limit(std::string const& reason) {
    damage_text = reason;
    limited = true;
}

bool archive_index::is_of(std::string const& archive) const {
    struct stat now = {};
    return path == archive && stat(archive.c_str(), &now) == 0 && is_unchanged(file, now);
}

// False if the index is full.
bool archive_index::add(archive_walk const& walk) {
    archive_entry* const from = walk.entry();
    entry added;
    added.path = walk.path();
    added.link = walk.link();
    path_bytes += added.path.size() + added.link.size();
    if (entries.size() >= k_most_entries || path_bytes > most_path_bytes(entries.size())) {
        limit("the archive has too many entries or its paths are too long: entries after number " +
              std::to_string(entries.size()) + " are not listed");
        return false;
    }
    // Entries share the few names of formats; elements of a set do not move.
    added.format = &*formats.insert(walk.entry_format()).first;
    if (archive_entry_size_is_set(from) != 0) {
        added.size = archive_entry_size(from);
    }
    if (archive_entry_mtime_is_set(from) != 0) {
        added.modified = archive_entry_mtime(from);
    }
    added.type = archive_entry_filetype(from);
    added.permissions = archive_entry_perm(from);
    added.is_hard_link = archive_entry_hardlink(from) != nullptr;
    added.is_encrypted = archive_entry_is_encrypted(from) != 0;
    entries.push_back(std::move(added));
    return true;
}

archive_index::iterator archive_index::first_from(iterator begin, std::string const& wanted) const {
    return std::lower_bound(begin, entries.end(), wanted,
                            [](entry const& e, std::string const& p) { return e.path < p; });
}

void archive_index::list(std::string const& directory, name_list& dirs, name_list& files) const {
    archive_path child;
    child.archive = path;
    auto at = first_from(entries.begin(), directory);
    while (at != entries.end() && begins_with(at->path, directory)) {
        std::size_t const slash = at->path.find('/', directory.size());
        std::string const name =
            readable_name(at->path.substr(directory.size(), slash - directory.size()));
        if (at->path == directory) {
            ++at;  // the directory's own entry
        } else if (slash != std::string::npos) {
            child.inner = at->path.substr(0, slash + 1);
            child.ordinal = 1;
            dirs.emplace_back(name, text_of(child));
            at = first_from(at, end_of_directory(child.inner));  // past all that is inside
        } else {
            child.ordinal = child.inner == at->path ? child.ordinal + 1 : 1;
            child.inner = at->path;
            std::string const number = " (" + std::to_string(child.ordinal) + ")";
            files.emplace_back(child.ordinal > 1 ? name + number : name, text_of(child));
            ++at;
        }
    }
}

bool archive_index::has_directory(std::string const& directory) const {
    auto const at = first_from(entries.begin(), directory);
    return directory.empty() || (at != entries.end() && begins_with(at->path, directory));
}

archive_index::entry const* archive_index::find(archive_path const& wanted) const {
    auto const first = first_from(entries.begin(), wanted.inner);
    std::size_t const skipped = wanted.ordinal - 1;
    if (skipped >= static_cast<std::size_t>(entries.end() - first)) {
        return nullptr;
    }
    entry const& found = first[static_cast<std::ptrdiff_t>(skipped)];
    return found.path == wanted.inner ? &found : nullptr;
}

}  // namespace archives
