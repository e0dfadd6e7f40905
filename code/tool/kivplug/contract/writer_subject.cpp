#include "writer_subject.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <utility>

#include "failure.h"
#include "opened.h"
#include "writer_session.h"

namespace kivplug {

namespace {

constexpr int k_longest = 20;  // sequence

// The sizes of writes, in bytes. The largest fill buffers of the usual sizes.
constexpr long long k_usual_size = 5000;
constexpr long long k_usual_most = 65536 + 2;

// What tells a writer that encodes its files from others.
constexpr std::string_view k_text = "some text";

constexpr verb k_verbs[] = {verb::write, verb::write, verb::write, verb::write,
                            verb::seek,  verb::seek,  verb::tell,  verb::size,
                            verb::flush, verb::close, verb::close};

}  // namespace

writer_subject::writer_subject(host const& from, place scratch, std::string const& read_with)
    : where(std::move(scratch)),
      make(maker_of<kivcore::writer>(from, where.id, kivcore::plugin::k_kind_writer)) {
    known.reader = read_with;
    if (!read_with.empty()) {
        known.read_back = [&from, read_with] {
            try {
                return from.create<kivcore::reader>(read_with, kivcore::plugin::k_kind_reader);
            } catch (wrong_kind const& error) {
                throw failure(error.problem + "; name a reader with --read-with");
            }
        };
    }
}

// A new writer that has a new file open and has written the text.
kivcore::instance<kivcore::writer> writer_subject::with_text(trace const& log) const {
    log.send(trace::k_restart);
    unlink(where.path.c_str());
    auto file = log.created(make);
    auto const opened =
        log.ask(text_of_open(where.path, "w"), [&] { return file->open(where.path, "w"); });
    checked_result(where, {"open", "; check that its directory exists and is writable"}, opened);
    log.ask("write(" + std::to_string(k_text.size()) + ")",
            [&] { return file->write(k_text.data(), k_text.size()); });
    return file;
}

// A file that is longer than the text is encoded, with a header or a trailer.
void writer_subject::learn_encoding(trace const& log) {
    auto const file = with_text(log);
    log.ask("close()", [&] { return file->close(); });
    auto const raw = raw_content(where.path, k_text.size() + 1);
    known.is_raw = raw == k_text;
    if (known.is_raw) {
        return;
    }
    if (known.read_back) {
        known.read_back();
    } else if (raw.size() > k_text.size()) {
        throw failure(where.describe("write") + " wrote " + std::to_string(k_text.size()) +
                      " bytes, but the file has more; if the writer encodes them, name a reader of "
                      "its files with --read-with, otherwise the plug-in is faulty");
    } else {
        known.is_raw = true;
    }
}

void writer_subject::prepare(trace const& log) {
    learn_encoding(log);
    auto const asked = with_text(log);
    known.can_tell = log.ask("tell()", [&] { return asked->tell(); }) >= 0;
    known.has_size = log.ask("size()", [&] { return asked->size(); }) >= 0;
    known.can_seek =
        log.ask("seek(0, start)", [&] { return asked->seek(0, morbase::from_start); }) >= 0;
}

calls writer_subject::generate(dice& random) const {
    calls sequence;
    bool is_open = false;
    long long size = 0;  // if every write appends everything
    auto const length = 2 + random.below(k_longest - 1);
    while (static_cast<long long>(sequence.size()) < length) {
        call next = {random.one_of(k_verbs)};
        if (!is_open && random.below(8) != 0) {
            next.what = verb::open;
            size = 0;
        } else if (next.what == verb::seek) {
            next = seek_somewhere(random, size);
        } else if (next.what == verb::write) {
            next.number = std::abs(random.place(k_usual_size) % k_usual_most);
            size += next.number;
        }
        is_open = next.what == verb::open || (is_open && next.what != verb::close);
        sequence.push_back(next);
    }
    return sequence;
}

void writer_subject::run(calls const& sequence, trace const& log) const {
    {
        auto const file = log.created(make);
        writer_session session(*file, where, known, log);
        for (auto const& each : sequence) {
            session.make(each);
        }
    }
    unlink(where.path.c_str());
}

}  // namespace kivplug
