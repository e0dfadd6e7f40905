#include "transfer.h"

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <vector>

#include <kivcore/multi_file_reader.h>
#include <kivcore/reader.h>
#include <kivcore/writer.h>

#include "failure.h"
#include "image.h"
#include "progress.h"
#include "text.h"

namespace kivplug {

namespace {

// Moved by one call of a plug-in: the cost of the call vanishes in it.
constexpr std::size_t k_step = 256 * std::size_t{1024};

// About a writer that failed half-way.
constexpr char const* k_incomplete = " (now incomplete)";
constexpr char const* k_write_advice = "; make room or write it again";

// Whether the reader reads the file: it was opened by that name, is held open, or is one of the
// files that are read in sequence.
bool is_read_by(kivcore::reader& file, place const& where, file_identity const& output) {
    if (identity_of(where.path) == output || is_open_for_reading(output)) {
        return true;
    }
    auto* const row = dynamic_cast<kivcore::multi_file_reader*>(&file);
    return guarded(where, {"file_path", k_report_fault}, [&] {
        bool found = false;
        for (unsigned int i = 0; row != nullptr && !found && i < row->file_count(); ++i) {
            found = identity_of(row->file_path(i)) == output;
        }
        return found;
    });
}

// Running code must not change.
void refuse_code(std::optional<file_identity> const& output, std::string const& name,
                 std::string const& advice) {
    if (output && is_mapped_image(*output)) {
        throw failure("cannot write " + name + ": it is a shared object that is in use" + advice);
    }
}

void seek_to(kivcore::reader& file, place const& where, long long offset) {
    if (offset == 0) {
        return;  // so that a reader that cannot seek is of use
    }
    operation const seek = {"seek", "; read without --offset, or with one inside the data"};
    auto const reached =
        checked(where, seek, [&] { return file.seek(offset, morbase::from_start); });
    require_target(where, seek, reached, offset);
}

// Copies until the end, or until count bytes are copied. No progress is shown where the
// data itself goes to the terminal: the two would mix.
void copy(kivcore::reader& file, place const& where, byte_sink& out, long long count) {
    std::vector<char> buffer(k_step);
    progress shown(!out.is_terminal());
    while (count > 0) {
        auto const step = std::min(k_step, static_cast<std::size_t>(count));
        std::string const state = " after " + std::to_string(out.written()) + " bytes";
        auto const result = checked(where, {"read", k_check_intact, state},
                                    [&] { return file.read(buffer.data(), step); });
        std::size_t const got = checked_count(where, "read", result, step);
        if (got == 0) {
            return;
        }
        out.write(buffer.data(), got);
        count -= static_cast<long long>(got);
        shown.update(out.written());
    }
}

// A writer may take less than it is given, but not nothing: that would never end.
void write_all(kivcore::writer& file, place const& where, char const* bytes, std::size_t size) {
    while (size > 0) {
        auto const result = checked(where, {"write", k_write_advice, k_incomplete},
                                    [&] { return file.write(bytes, size); });
        std::size_t const done = checked_count(where, "write", result, size);
        if (done == 0) {
            throw failure(where.describe("write") + k_incomplete + " failed: result 0" +
                          k_write_advice);
        }
        bytes += done;
        size -= done;
    }
}

void copy(byte_source& in, kivcore::writer& file, place const& where) {
    std::vector<char> buffer(k_step);
    progress shown(true);
    unsigned long long total = 0;
    for (std::size_t got = 0; (got = in.read(buffer.data(), buffer.size())) > 0;) {
        write_all(file, where, buffer.data(), got);
        total += got;
        shown.update(total);
    }
}

void copy_and_close(kivcore::reader& file, place const& where, byte_sink& out,
                    std::function<void(byte_sink&)> const& copy) {
    try {
        copy(out);
        checked(where, {"close", "; what was read may be incomplete"},
                [&] { return file.close(); });
        out.finish();
    } catch (failure const& error) {
        throw failure(error.what() + out.remains());
    }
}

}  // namespace

void deliver(kivcore::reader& file, place const& where, std::string const& output,
             byte_sink& standard_output, std::function<void(byte_sink&)> const& copy) {
    // By now /dev/stdout itself leads to standard error.
    bool const is_standard = output == k_standard || is_standard_output(output);
    std::string const name = is_standard ? "standard output" : quoted(output);
    std::string const advice = "; give another output with -o";
    auto const target = is_standard ? identity_of(standard_output.number()) : identity_of(output);
    refuse_code(target, name, advice);
    if (target && is_read_by(file, where, *target)) {
        throw failure("cannot write " + name + ": it is what is read" + advice);
    }
    if (is_standard) {
        copy_and_close(file, where, standard_output, copy);
        return;
    }
    byte_sink out = byte_sink::to_file(output);
    copy_and_close(file, where, out, copy);
}

void read(host const& from, byte_sink& standard_output, read_options const& options) {
    place const where{from.resolve(options.id), options.path};
    auto const file = from.create<kivcore::reader>(where.id, kivcore::plugin::k_kind_reader);
    open_for_reading(*file, where, options.mode);
    seek_to(*file, where, options.offset);
    deliver(*file, where, options.output, standard_output,
            [&](byte_sink& out) { copy(*file, where, out, options.count); });
}

// cppcheck-suppress constParameter; verbs have one signature
void write(host const& from, byte_sink& standard_output, write_options const& options) {
    place const where{from.resolve(options.id), options.path};
    auto const file = from.create<kivcore::writer>(where.id, kivcore::plugin::k_kind_writer);
    std::string const target = is_standard_output(options.path)
                                   ? "/proc/self/fd/" + std::to_string(standard_output.number())
                                   : options.path;
    auto const output = identity_of(target);
    refuse_code(output, quoted(options.path), "; give another PATH");
    bool const is_standard = options.input == k_standard;
    if (output &&
        output == (is_standard ? identity_of(STDIN_FILENO) : identity_of(options.input))) {
        throw failure("cannot read " + (is_standard ? "standard input" : quoted(options.input)) +
                      ": it is what is to be written; give another input with -i");
    }
    // The input comes first: opening the writer may empty a file.
    byte_source in =
        is_standard ? byte_source::from_standard_input() : byte_source::from_file(options.input);
    std::string const advice =
        "; check that its directory is there and can be written, and the mode " +
        quoted(options.mode);
    checked(where, {"open", advice}, [&] { return file->open(target, options.mode); });
    copy(in, *file, where);
    checked(where, {"close", k_write_advice, k_incomplete}, [&] { return file->close(); });
}

}  // namespace kivplug
