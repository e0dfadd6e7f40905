#include "frame_subject.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "failure.h"
#include "frame_session.h"
#include "kind.h"
#include "opened.h"
#include "text.h"

namespace kivplug {

namespace {

using kivcore::frame_reader;

constexpr int k_longest = 20;  // sequence

// Room for any frame, in bytes.
constexpr std::size_t k_room = std::size_t{16} << 20;

// All frames are kept in memory.
constexpr std::size_t k_most_bytes = std::size_t{256} << 20;

constexpr char const* k_read =
    "kivcore/frame_reader.h: read_frame returns the number of bytes in the frame, 0 at the end, "
    "negative on failure or if the frame does not fit";

constexpr verb k_verbs[] = {verb::read_frame,   verb::read_frame,  verb::read_frame,
                            verb::read_frame,   verb::seek_frame,  verb::seek_frame,
                            verb::seek_frame,   verb::tell_frame,  verb::tell_frame,
                            verb::select_track, verb::track_count, verb::track_information,
                            verb::close};

// A record may also have the largest number if it does not know.
template <typename record_type>
long long stated_in(frame_reader::media_information const& record) {
    auto const* const known = dynamic_cast<record_type const*>(&record);
    bool const is_stated =
        known != nullptr && known->number_of_frames != std::numeric_limits<unsigned int>::max();
    return is_stated ? known->number_of_frames : 0;
}

}  // namespace

long long stated_frames(frame_reader::media_information const& record) {
    return stated_in<frame_reader::audio_media_information>(record) +
           stated_in<frame_reader::video_media_information>(record);
}

frame_subject::frame_subject(host const& from, place opened)
    : where(std::move(opened)), make(maker_of<frame_reader>(from, where.id, k_kind_frame_reader)) {}

void frame_subject::prepare(trace const& log) {
    auto const file = opened(make, where, log);
    auto const count = log.ask("track_count()", [&] { return file->track_count(); });
    for (unsigned int track = 0; track < count; ++track) {
        known.push_back(facts_of(track, log));
    }
}

track_facts frame_subject::facts_of(unsigned int track, trace const& log) const {
    track_facts facts;
    auto const file = opened(make, where, log);
    auto const selected = log.ask("select_track(" + std::to_string(track) + ")",
                                  [&] { return file->select_track(track); });
    checked_result(where, {"select_track", k_report_fault}, selected);
    long long stated = 0;
    facts.description = log.ask_for(
        "track_information(" + std::to_string(track) + ")",
        [&] {
            auto const record = file->track_information(track);
            stated = record ? stated_frames(*record) : 0;
            return record ? record->describe() : "";
        },
        quoted);
    read_frames(*file, log, stated, facts);
    facts.can_seek = log.ask("seek_frame(0)", [&] { return file->seek_frame(0); }) >= 0;
    return facts;
}

void frame_subject::read_frames(frame_reader& file, trace const& log, long long stated,
                                track_facts& facts) const {
    std::vector<char> buffer(k_room);
    std::size_t total = 0;
    for (std::size_t got = 1; got > 0;) {
        auto const result = log.ask("read_frame(" + std::to_string(k_room) + ")",
                                    [&] { return file.read_frame(buffer.data(), k_room); });
        if (result < 0 && stated > 0 && stated == facts.count()) {
            break;  // instead of 0: the sequences find that too, and it can be shrunk there
        }
        require(result >= 0 && result <= static_cast<long long>(k_room),
                "a frame, or 0 at the end; if the file is damaged, use an intact one", k_read);
        got = static_cast<std::size_t>(result);
        total += got;
        if (total > k_most_bytes) {
            throw failure(where.describe("read_frame") + " returned more than " +
                          std::to_string(k_most_bytes) + " bytes; use something smaller");
        }
        if (got > 0) {
            facts.frames.emplace_back(buffer.data(), got);
            facts.largest = std::max(facts.largest, static_cast<long long>(got));
        }
    }
}

call frame_subject::next_call(dice& random) const {
    call made;
    made.what = random.one_of(k_verbs);
    auto const& track =
        known[static_cast<std::size_t>(random.below(static_cast<long long>(known.size())))];
    if (made.what == verb::seek_frame) {
        made.number = random.place(track.count());
    } else if (made.what == verb::read_frame) {
        made.number = random.below(4) == 0 ? random.place(track.largest) : track.largest;
    } else {
        made.number = random.below(static_cast<long long>(known.size()) + 1);
    }
    return made;
}

calls frame_subject::generate(dice& random) const {
    calls sequence;
    auto const length = 3 + random.below(k_longest - 2);
    auto const count = std::max(static_cast<long long>(known.size()), 1LL);
    bool is_open = false;
    while (static_cast<long long>(sequence.size()) < length) {
        call next = known.empty() ? call{verb::track_count} : next_call(random);
        if (!is_open && random.below(8) != 0) {
            sequence.push_back({verb::open});
            next = {verb::select_track, 0, 0, random.below(count)};
            is_open = true;
        }
        is_open = is_open && next.what != verb::close;
        sequence.push_back(next);
    }
    return sequence;
}

void frame_subject::run(calls const& sequence, trace const& log) const {
    auto const file = log.created(make);
    frame_session session(*file, where, known, log);
    for (auto const& each : sequence) {
        session.make(each);
    }
}

}  // namespace kivplug
