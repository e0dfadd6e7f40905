// One archive from which files are read one after the other. The search for a file continues
// where the last one stopped. Going back to an earlier file costs as little as the format allows:
//
//     zip                a pass over that entry, found through the directory at the end
//     tar                a pass that begins at the entry
//     7z, compressed tar a pass from the beginning, because these cannot be entered in the middle.
//                        After the first such step back, the session keeps the files that it
//                        passes, up to k_most_kept_bytes. So a host that reads in another order
//                        than the archive's needs two passes, unless the files are too large.
//
// Use a session from one thread at a time.

#ifndef ARCHIVE_SESSION_H
#define ARCHIVE_SESSION_H

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "archive_file.h"
#include "archive_path.h"
#include "archive_walk.h"
#include "zip_directory.h"

namespace archives {

class archive_session {
  public:
    // Opens the archive's file. Returns what open_file returns.
    int open(std::string const& archive);

    // Moves to the beginning of the wanted file's data. Returns 0 or a negative value: ENOENT if
    // there is no such file; ELOOP, EOPNOTSUPP or EACCES if it is not a readable file; otherwise
    // a failure of archive_walk.
    int go_to(archive_path const& wanted);

    // For the file that go_to found: its size, if the archive has it, and its data, as in
    // archive_walk::next_data.
    std::optional<long long> size() const;
    int next_data(void const*& data, unsigned long long& size, long long& offset);

    std::string const& archive() const noexcept { return path; }

    // Whether the session may be used for another file: not after a temporary failure, and not if
    // a change to the archive's file could be missed.
    bool is_reusable() const noexcept { return is_sound && file.is_settled; }

    // sleep closes the file, so that a waiting session does not keep a file system busy or a
    // deleted file alive. wake opens it again. It returns false if the file has changed; then the
    // session is useless.
    void sleep();
    bool wake();

  private:
    struct place {
        unsigned int number;  // of the entry, from 1
        long long header;     // from archive_walk::header_position
    };

    int search(archive_path const& wanted);
    int go_back(place to, archive_path const& wanted);
    int step();
    void begin();
    int note_entry();
    bool jump(place to, archive_path const& wanted);
    std::optional<file_part> part_from(place to);
    bool can_jump() const;
    bool keep_entry();
    bool take_data(std::string& content);
    file_part whole_file() const { return {0, file.status.st_size, ""}; }

    std::string path;
    archive_file file;

    archive_walk main;        // over all entries
    unsigned int number = 0;  // of main's current entry, 0 for none
    int state = 0;            // 1 while main has an entry, 0 at the end, negative on failure
    long long passed = 0;     // total size of the entries before it
    bool is_started = false;

    // The entries that main has reached, by path and by ordinal within the path.
    std::map<std::pair<std::string, unsigned int>, place> places;
    std::size_t path_bytes = 0;

    std::unique_ptr<archive_walk> side;  // at one entry; null while main is at the file
    std::optional<zip_directory> directory;

    bool is_keeping = false;
    bool is_touched = false;  // data of main's entry was read
    std::map<unsigned int, std::string> kept;
    std::size_t kept_bytes = 0;
    std::string const* kept_file = nullptr;  // if not null, this is read instead of a walk's entry
    bool is_kept_read = false;

    bool is_sound = true;
};

}  // namespace archives

#endif
