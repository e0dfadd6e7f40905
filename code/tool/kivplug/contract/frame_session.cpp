#include "frame_session.h"

#include <algorithm>

#include "guarded_buffer.h"
#include "opened.h"
#include "stream_moves.h"
#include "text.h"

namespace kivplug {

namespace {

using kivcore::frame_reader;
using track_record = morbase::ptr_refcount<frame_reader::media_information>;

constexpr char const* k_no_record = "null";
constexpr char const* k_count =
    "kivcore/frame_reader.h: track_count returns the number of tracks, 0 while nothing is open";
constexpr char const* k_record =
    "kivcore/frame_reader.h: track_information returns the record of a track, which never "
    "changes; null if there is no such track";
constexpr char const* k_facts =
    "kivcore/frame_reader.h: a track's record has its number of frames, and no frame of sound is "
    "larger than its frame_data_size";
constexpr char const* k_select =
    "kivcore/frame_reader.h: select_track returns 0 on success, negative if there is no such track";
constexpr char const* k_tell =
    "kivcore/frame_reader.h: tell_frame returns the number of the frame that is read next, "
    "negative on failure";
constexpr char const* k_seek =
    "kivcore/frame_reader.h: seek_frame moves to a frame, or to the end; it returns the new frame "
    "number, negative on failure";
constexpr char const* k_read =
    "kivcore/frame_reader.h: read_frame reads one frame and moves to the next; it returns the "
    "number of bytes in the frame, 0 at the end, negative on failure or if the frame does not fit; "
    "the position is then unchanged";

void check_facts(frame_reader::media_information const& record, track_facts const& facts) {
    auto const stated = stated_frames(record);
    require(stated == 0 || stated == facts.count(),
            "a record with the " + std::to_string(facts.count()) + " frames that can be read",
            k_facts);
    auto const* const audio = dynamic_cast<frame_reader::audio_media_information const*>(&record);
    require(
        audio == nullptr || audio->frame_data_size == 0 || facts.largest <= audio->frame_data_size,
        "a frame_data_size of at least " + std::to_string(facts.largest), k_facts);
}

}  // namespace

void frame_session::make(call const& wanted) {
    auto const track = static_cast<unsigned int>(wanted.number);
    switch (wanted.what) {
        case verb::open:
            return open();
        case verb::close:
            return close();
        case verb::track_count:
            return count_tracks();
        case verb::track_information:
            return opened ? describe(track) : void();
        case verb::select_track:
            return opened ? select(track) : void();
        default:
            return selected != nullptr ? use_track(wanted) : void();
    }
}

void frame_session::use_track(call const& wanted) {
    switch (wanted.what) {
        case verb::tell_frame:
            return tell();
        case verb::seek_frame:
            return seek(wanted.number);
        case verb::read_frame:
            return read(wanted.number);
        default:
            return;
    }
}

// What open does on an open reader is up to the plug-in.
void frame_session::open() {
    if (opened) {
        return;
    }
    auto const result =
        log.ask(text_of_open(where.path), [&] { return file.open(where.path, "r"); });
    check_open(result, false);
    opened = true;
    has_selected = false;
}

void frame_session::close() {
    auto const result = log.ask("close()", [&] { return file.close(); });
    check_close(result, opened);
    opened = false;
    selected = nullptr;
}

void frame_session::count_tracks() {
    auto const expected = opened ? static_cast<long long>(known.size()) : 0;
    auto const count = log.ask("track_count()", [&] { return file.track_count(); });
    require(count == expected, std::to_string(expected), k_count);
}

void frame_session::describe(unsigned int track) {
    track_record found;
    auto const text = log.ask_for(
        "track_information(" + std::to_string(track) + ")->describe()",
        [&] {
            found = file.track_information(track);
            return found ? found->describe() : k_no_record;
        },
        quoted);
    bool const is_there = track < known.size();
    require(static_cast<bool>(found) == is_there, is_there ? "a record" : k_no_record, k_record);
    if (is_there) {
        auto const& facts = known[track];
        require(text == facts.description, quoted(facts.description) + ", as before", k_record);
        check_facts(*found, facts);
    }
}

// The first selection after an open moves to the first frame. The contract leaves open where a
// later one moves, and what is selected after a failure.
void frame_session::select(unsigned int track) {
    auto const result = log.ask("select_track(" + std::to_string(track) + ")",
                                [&] { return file.select_track(track); });
    bool const is_there = track < known.size();
    require(is_there ? result == 0 : result < 0, is_there ? "0" : "a failure", k_select);
    selected = is_there ? &known[track] : nullptr;
    position = has_selected ? std::nullopt : std::optional(0LL);
    has_selected = true;
}

void frame_session::tell() {
    auto const reached = log.ask("tell_frame()", [&] { return file.tell_frame(); });
    require(position ? reached == *position : reached >= 0,
            position ? std::to_string(*position) : "0 or more", k_tell);
    position = reached;
}

// A seek beyond the end may fail, go there, or stop at the end.
void frame_session::seek(long long frame) {
    auto const reached = log.ask("seek_frame(" + std::to_string(frame) + ")",
                                 [&] { return file.seek_frame(frame); });
    position = reached >= 0 ? std::optional(reached) : std::nullopt;
    if (reached < 0 && !selected->can_seek) {
        return;
    }
    if (frame < 0) {
        require(reached < 0, "a failure: there is no such frame", k_seek);
    } else if (frame <= selected->count()) {
        require(reached == frame, std::to_string(frame), k_seek);
    } else {
        require(reached < 0 || reached == frame || reached == selected->count(),
                "a failure, " + std::to_string(frame) + " or " + std::to_string(selected->count()),
                k_seek);
    }
}

void frame_session::read(long long wanted) {
    long long const capacity = std::clamp(wanted, 0LL, selected->largest + 1);
    guarded_buffer buffer(static_cast<std::size_t>(capacity));
    auto const got = log.ask("read_frame(" + std::to_string(capacity) + ")", [&] {
        return file.read_frame(buffer.data(), static_cast<unsigned long long>(capacity));
    });
    require(buffer.is_intact(), "no byte written outside the buffer", k_read);
    require(got <= capacity, "at most " + std::to_string(capacity), k_read);
    if (!position) {
        return;
    }
    if (*position >= selected->count()) {
        require(got == 0 || (got < 0 && *position > selected->count()), "0: this is the end",
                k_read);
        return;
    }
    auto const& frame = selected->frames[static_cast<std::size_t>(*position)];
    auto const size = static_cast<long long>(frame.size());
    require(size <= capacity ? got == size : got < 0,
            size <= capacity ? std::to_string(size) : "a failure: the frame does not fit", k_read);
    require(got < 0 || frame.compare(0, frame.size(), buffer.data(), frame.size()) == 0,
            "the bytes that frame " + std::to_string(*position) + " has when read in order",
            k_read);
    *position += got > 0 ? 1 : 0;
}

}  // namespace kivplug
