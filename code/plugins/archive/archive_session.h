// One archive from which files are read one after the other. What the search for one file found
// helps with the next: the pass over the entries continues from where it is, and going back to an
// earlier one takes as little as the archive allows.
//
//     zip                a pass over one entry, which the directory at the end leads to
//     tar                a pass that begins at the entry
//     7z, compressed tar a pass from the beginning, as these cannot be entered in the middle.
//                        From the first such step back on, the session keeps the files that it
//                        passes, up to k_most_kept_bytes: a host that reads in an order of its
//                        own needs two passes, unless the files are too large to be kept.
//
// One thread at a time uses a session.

#ifndef KIVCORE_ARCHIVE_SESSION_H
#define KIVCORE_ARCHIVE_SESSION_H

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

namespace kivcore_archive {

class archive_session {
  public:
    // Opens the archive's file. 0, or negative as of open_file.
    int open(std::string const& archive);

    // Goes to the wanted file, to the beginning of its data. 0, or negative: ENOENT for none,
    // ELOOP, EOPNOTSUPP and EACCES for what is not a readable file, otherwise as of archive_walk.
    int go_to(archive_path const& wanted);

    // Of the file that go_to went to: its size if the archive says it, and its data as of
    // archive_walk::next_data.
    std::optional<long long> size() const;
    int next_data(void const*& data, unsigned long long& size, long long& offset);

    std::string const& archive() const noexcept { return path; }

    // Whether it may be used for another file: not after a failure that may pass, nor when
    // changes to the file might go unnoticed.
    bool is_reusable() const noexcept { return is_sound && file.is_settled; }

    // Closes the file, so that a session that waits keeps no file system busy and no deleted
    // file alive; opens it again. False when it is not what it was: the session is of no use.
    void sleep();
    bool wake();

  private:
    struct place {
        unsigned int number;  // of the entry, from 1
        long long header;     // as of archive_walk::header_position
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
    unsigned int number = 0;  // of the entry that main is at, 0 for none
    int state = 0;            // 1 while main has an entry, then 0 at the end, or negative
    long long passed = 0;     // the sizes of the entries before it
    bool is_started = false;

    // The entries that main met, by path and by ordinal among those of the path.
    std::map<std::pair<std::string, unsigned int>, place> places;
    std::size_t path_bytes = 0;

    std::unique_ptr<archive_walk> side;  // to one entry; null while main is at the file
    std::optional<zip_directory> directory;

    bool is_keeping = false;
    bool is_touched = false;  // data of main's entry was read
    std::map<unsigned int, std::string> kept;
    std::size_t kept_bytes = 0;
    std::string const* kept_file = nullptr;  // what is read, instead of a walk's entry
    bool is_kept_read = false;

    bool is_sound = true;
};

}  // namespace kivcore_archive

#endif
