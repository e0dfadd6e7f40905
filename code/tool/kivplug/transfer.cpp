#include "transfer.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

#include <kivcore/multi_file_reader.h>
#include <kivcore/reader.h>
#include <kivcore/writer.h>

#include "failure.h"
#include "progress.h"
#include "text.h"

namespace kivplug {

namespace {

namespace fs = std::filesystem;

// Moved by one call of a plug-in: the cost of the call vanishes in it.
constexpr std::size_t k_step = 256 * std::size_t{1024};

// By now these paths lead to where notices go, as everything does that is not ours: they
// must not be opened like a file.
bool is_standard_output(std::string const& output) {
    return output == k_standard || output == "/dev/stdout" || output == "/dev/fd/1" ||
           output == "/proc/self/fd/1";
}

// Whether both paths lead to one file whose bytes stay: a terminal may be read and written.
bool are_one_file(std::string const& one, std::string const& other) {
    std::error_code none;  // what does not exist is not the same file
    return fs::equivalent(one, other, none) && fs::is_regular_file(one, none);
}

// Whether the reader reads the file at that path: it was opened by it, holds it open, or
// will come to it in its row of files.
bool is_read_by(kivcore::reader& file, place const& where, std::string const& path) {
    if (are_one_file(where.path, path) || is_open_for_reading(path)) {
        return true;
    }
    auto* const row = dynamic_cast<kivcore::multi_file_reader*>(&file);
    bool found = false;
    auto const ask = [&] {
        for (unsigned int i = 0; row != nullptr && !found && i < row->file_count(); ++i) {
            found = are_one_file(row->file_path(i), path);
        }
    };
    guarded(where, "file_path", ask, k_report_fault);
    return found;
}

void seek_to(kivcore::reader& file, place const& where, long long offset) {
    if (offset == 0) {
        return;  // so that a reader that cannot seek is of use
    }
    auto const call = [&] { return file.seek(offset, morbase::from_start); };
    checked_move(where, "seek", offset, call,
                 "; read without --offset, or with one inside the data");
}

// Copies until the end, or until count bytes are copied. No progress is shown where the
// data itself goes to the terminal: the two would mix.
void copy(kivcore::reader& file, place const& where, byte_sink& out, long long count) {
    std::vector<char> buffer(k_step);
    progress shown(!out.is_terminal());
    while (count > 0) {
        auto const step = std::min(k_step, static_cast<std::size_t>(count));
        auto const call = [&] { return file.read(buffer.data(), step); };
        std::string const advice =
            " after " + std::to_string(out.written()) + " bytes; check that it is intact";
        std::size_t const got =
            checked_count(where, "read", checked(where, "read", call, advice), step);
        if (got == 0) {
            return;
        }
        out.write(buffer.data(), got);
        count -= static_cast<long long>(got);
        shown.update(out.written());
    }
}

// A writer may take less than it is given, but not nothing: that would never end.
void write_all(kivcore::writer& file, place const& where, char const* bytes, std::size_t count) {
    std::string const advice =
        "; " + quoted(where.path) + " is incomplete, make room or write it again";
    while (count > 0) {
        auto const call = [&] { return file.write(bytes, count); };
        std::size_t const done =
            checked_count(where, "write", checked(where, "write", call, advice), count);
        if (done == 0) {
            throw failure(where.describe("write") + " failed: result 0" + advice);
        }
        bytes += done;
        count -= done;
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
        auto const close = [&] { return file.close(); };
        checked(where, "close", close, "; what was read may be incomplete");
        out.finish();
    } catch (failure const& error) {
        throw failure(error.what() + out.remains());
    }
}

}  // namespace

void deliver(kivcore::reader& file, place const& where, std::string const& output,
             byte_sink& standard_output, std::function<void(byte_sink&)> const& copy) {
    bool const is_standard = is_standard_output(output);
    if (is_read_by(file, where, is_standard ? standard_output.opened_path() : output)) {
        throw failure("cannot write " + (is_standard ? "standard output" : quoted(output)) +
                      ": it is what is read; give another output with -o");
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

void write(host const& from, byte_sink& /*standard_output*/, write_options const& options) {
    place const where{from.resolve(options.id), options.path};
    auto const file = from.create<kivcore::writer>(where.id, kivcore::plugin::k_kind_writer);
    bool const is_standard = options.input == k_standard;
    if (are_one_file(is_standard ? "/dev/stdin" : options.input, options.path)) {
        throw failure("cannot read " + (is_standard ? "standard input" : quoted(options.input)) +
                      ": it is what is to be written; give another input with -i");
    }
    // The input comes first: opening the writer may empty a file.
    byte_source in =
        is_standard ? byte_source::from_standard_input() : byte_source::from_file(options.input);
    auto const open = [&] { return file->open(options.path, options.mode); };
    checked(where, "open", open,
            "; check that its directory is there and can be written, and the mode " +
                quoted(options.mode));
    copy(in, *file, where);
    auto const close = [&] { return file->close(); };
    checked(where, "close", close,
            "; " + quoted(options.path) + " is incomplete, make room or write it again");
}

}  // namespace kivplug
