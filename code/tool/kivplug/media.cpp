#include "media.h"

#include <algorithm>
#include <map>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include <kivcore/frame_reader.h>
#include <kivcore/multi_file_reader.h>

#include "failure.h"
#include "json.h"
#include "kind.h"
#include "operation.h"
#include "progress.h"
#include "text.h"

namespace kivplug {

namespace {

using kivcore::frame_reader;
using kivcore::multi_file_reader;
using record = morbase::ptr_refcount<frame_reader::media_information>;

constexpr char const* k_read_mode = "r";

// Room for frames of tracks whose records do not say how large they are. Memory that no
// frame fills is never touched.
constexpr std::size_t k_unknown_frame_size = std::size_t{16} << 20;

void close(kivcore::reader& file, place const& where) {
    checked(where, {"close", "; what it said before may be incomplete"},
            [&] { return file.close(); });
}

unsigned int track_count(frame_reader& file, place const& where) {
    return guarded(where, {"track_count", k_check_intact}, [&] { return file.track_count(); });
}

record record_of(frame_reader& file, place const& where, unsigned int track) {
    auto found = guarded(where, {"track_information", k_check_intact},
                         [&] { return file.track_information(track); });
    if (!found) {
        throw failure(where.describe("track_information") + " has nothing about track " +
                      std::to_string(track) + k_report_fault);
    }
    return found;
}

// The lines of a track's record. A plug-in may have records of its own: they are shown as
// they describe themselves.
std::vector<std::string> description_of(frame_reader& file, place const& where,
                                        unsigned int track) {
    auto const known = record_of(file, where, track);
    auto const text =
        guarded(where, {"describe", k_report_fault}, [&] { return known->describe(); });
    return split(text, '\n');
}

std::string trimmed(std::string const& text) {
    auto const first = text.find_first_not_of(' ');
    return first == std::string::npos ? ""
                                      : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// Lines of "label: value". A line without a colon is a label whose value is empty.
std::map<std::string, std::string> labels_and_values(std::vector<std::string> const& lines) {
    std::map<std::string, std::string> values;
    for (auto const& line : lines) {
        auto const colon = std::min(line.find(':'), line.size());
        auto const value = std::min(colon + 1, line.size());
        values[trimmed(line.substr(0, colon))] = trimmed(line.substr(value));
    }
    return values;
}

// At least 1: to a buffer without room a plug-in might answer 0, which means the end.
std::size_t largest_frame(frame_reader::media_information const& known) {
    if (auto const* audio = dynamic_cast<frame_reader::audio_media_information const*>(&known)) {
        return std::max(audio->frame_data_size, 1U);
    }
    if (auto const* video = dynamic_cast<frame_reader::video_media_information const*>(&known)) {
        return std::max(video->frame_data_size, 1U);
    }
    return k_unknown_frame_size;
}

unsigned int select_track(frame_reader& file, place const& where, long long wanted) {
    unsigned int const count = track_count(file, where);
    if (wanted >= count) {
        throw failure(where.describe("select_track") + " failed: there is no track " +
                      std::to_string(wanted) + " among the " + std::to_string(count) +
                      ", which are counted from 0; 'kivplug tracks' shows them");
    }
    auto const track = static_cast<unsigned int>(wanted);
    checked(where, {"select_track", "; 'kivplug tracks' shows the tracks"},
            [&] { return file.select_track(track); });
    return track;
}

void seek_frame(frame_reader& file, place const& where, long long frame) {
    if (frame == 0) {
        return;  // where a selected track begins
    }
    operation const seek = {
        "seek_frame",
        "; give a --from inside the track, 'kivplug tracks' shows how many frames it has"};
    auto const reached = checked(where, seek, [&] { return file.seek_frame(frame); });
    require_target(where, seek, reached, frame);
}

void copy_frames(frame_reader& file, place const& where, byte_sink& out, std::size_t capacity,
                 long long count) {
    // The size comes from the file and may be absurd: it must not end in bad_alloc.
    std::unique_ptr<char[]> const buffer(new (std::nothrow) char[capacity]);
    if (!buffer) {
        throw failure(where.describe("read_frame") + " needs " + std::to_string(capacity) +
                      " bytes of memory for a frame, and there is not that much" + k_check_intact);
    }
    progress shown(!out.is_terminal());
    for (long long done = 0; done < count; ++done) {
        std::string const state = " after " + std::to_string(done) + " frames";
        auto const got = checked(where, {"read_frame", k_check_intact, state},
                                 [&] { return file.read_frame(buffer.get(), capacity); });
        if (got == 0) {
            return;
        }
        out.write(buffer.get(), checked_count(where, "read_frame", got, capacity));
        shown.update(out.written());
    }
}

void print_track(byte_sink& out, unsigned int track, std::vector<std::string> const& lines) {
    std::string text = "track " + std::to_string(track) + "\n";
    for (auto const& line : lines) {
        text += "    " + printable(line) + "\n";
    }
    out.write(text);
}

void add_track(json_array& array, unsigned int track, std::vector<std::string> const& lines) {
    json_object object;
    object.add("track", track);
    object.add("description", labels_and_values(lines));
    array.add(object);
}

struct joined_file {
    std::string path;
    long long size;
};

joined_file file_at(multi_file_reader& file, place const& where, unsigned int index) {
    auto path =
        guarded(where, {"file_path", k_report_fault}, [&] { return file.file_path(index); });
    auto const size =
        checked(where, {"file_size", k_report_fault}, [&] { return file.file_size(index); });
    return {std::move(path), size};
}

json_object json_of(unsigned int index, joined_file const& found) {
    json_object object;
    object.add("index", index);
    object.add("path", found.path);
    object.add("size", found.size);
    return object;
}

std::vector<std::string> row_of(unsigned int index, joined_file const& found) {
    return {std::to_string(index), std::to_string(found.size), found.path};
}

}  // namespace

void tracks(host const& from, byte_sink& out, view_options const& options) {
    place const where{from.resolve(options.id), options.path};
    auto const file = from.create<frame_reader>(where.id, k_kind_frame_reader);
    open_for_reading(*file, where, k_read_mode);
    print_items(out, options.json, [&](json_array* array) {
        unsigned int const count = track_count(*file, where);
        for (unsigned int track = 0; track < count; ++track) {
            auto const lines = description_of(*file, where, track);
            array != nullptr ? add_track(*array, track, lines) : print_track(out, track, lines);
        }
        close(*file, where);
    });
}

void frames(host const& from, byte_sink& standard_output, frames_options const& options) {
    place const where{from.resolve(options.id), options.path};
    auto const file = from.create<frame_reader>(where.id, k_kind_frame_reader);
    open_for_reading(*file, where, k_read_mode);
    // Whatever can be refused is refused before the output is created or emptied.
    auto const track = select_track(*file, where, options.track);
    auto const capacity = largest_frame(*record_of(*file, where, track));
    seek_frame(*file, where, options.first);
    auto const copy = [&](byte_sink& out) {
        copy_frames(*file, where, out, capacity, options.count);
    };
    deliver(*file, where, options.output, standard_output, copy);
}

void files(host const& from, byte_sink& out, view_options const& options) {
    place const where{from.resolve(options.id), options.path};
    auto const file = from.create<multi_file_reader>(where.id, k_kind_multi_file_reader);
    open_for_reading(*file, where, k_read_mode);
    auto const count =
        guarded(where, {"file_count", k_check_intact}, [&] { return file->file_count(); });
    print_items(out, options.json, [&](json_array* array) {
        std::vector<std::vector<std::string>> rows;
        for (unsigned int index = 0; index < count; ++index) {
            auto const found = file_at(*file, where, index);
            array != nullptr ? array->add(json_of(index, found))
                             : rows.push_back(row_of(index, found));
        }
        close(*file, where);
        out.write(table(rows, 2));  // nothing in JSON
    });
}

}  // namespace kivplug
