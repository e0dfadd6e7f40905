// A call to a plug-in's object, as a value. Sequences of calls are generated at random, sent
// between processes as bytes, and shrunk.

#ifndef KIVPLUG_CONTRACT_CALL_H
#define KIVPLUG_CONTRACT_CALL_H

#include <type_traits>
#include <vector>

namespace kivplug {

enum class verb : int {
    open,
    close,
    open_absent,  // something that does not exist
    // of streams
    read,
    peek,
    write,
    flush,
    seek,
    tell,
    size,
    // of multi-file readers
    select_file,
    current_file,
    list_files,
    // of frame readers
    track_count,
    track_information,
    select_track,
    tell_frame,
    seek_frame,
    read_frame,
    // of browsers
    can_browse,
    list,
    list_one_kind,
    info,
    url
};

struct call {
    verb what = verb::open;
    int object = 0;        // the first or the second of two objects that exist at the same time
    int origin = 0;        // of a seek, as in morbase::whence
    long long number = 0;  // a count, an offset or an index, depending on the verb
};

static_assert(std::is_trivially_copyable_v<call>);

using calls = std::vector<call>;

}  // namespace kivplug

#endif
