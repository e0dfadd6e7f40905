#include "writer_subject.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "text.h"
#include "writer_session.h"

namespace kivplug {

namespace {

constexpr int k_longest = 20;  // sequence

// What one call writes: enough to fill buffers of the usual sizes.
constexpr long long k_usual_size = 5000;
constexpr long long k_usual_most = 65536 + 2;

constexpr verb k_verbs[] = {verb::write, verb::write, verb::write, verb::write,
                            verb::seek,  verb::seek,  verb::tell,  verb::size,
                            verb::flush, verb::close, verb::close};

}  // namespace

writer_subject::writer_subject(host const& from, place scratch, std::string const& read_with)
    : where(std::move(scratch)), make([&from, id = where.id] {
          return from.create<kivcore::writer>(id, kivcore::plugin::k_kind_writer);
      }) {
    known.reader = read_with;
    if (!read_with.empty()) {
        known.read_back = [&from, read_with] {
            return from.create<kivcore::reader>(read_with, kivcore::plugin::k_kind_reader);
        };
    }
}

void writer_subject::prepare(trace const& log) {
    std::string const text = "some text";
    auto const write_text = [&](kivcore::writer& file) {
        auto const opened = log.ask("open(" + quoted(where.path) + ", 'w')",
                                    [&] { return file.open(where.path, "w"); });
        checked_result(where, {"open", "; check that its directory is there and can be written"},
                       opened);
        log.ask("write(" + std::to_string(text.size()) + ")",
                [&] { return file.write(text.data(), text.size()); });
    };
    auto const plain = make();
    write_text(*plain);
    log.ask("close()", [&] { return plain->close(); });
    known.is_raw = raw_content(where.path, text.size() + 1) == text;
    auto const asked = make();
    write_text(*asked);
    known.can_tell = log.ask("tell()", [&] { return asked->tell(); }) >= 0;
    known.has_size = log.ask("size()", [&] { return asked->size(); }) >= 0;
    known.can_seek =
        log.ask("seek(0, start)", [&] { return asked->seek(0, morbase::from_start); }) >= 0;
}

calls writer_subject::generate(dice& random) const {
    calls sequence;
    bool is_open = false;
    long long size = 0;  // if all is written, one after the other
    auto const length = 2 + random.below(k_longest - 1);
    while (static_cast<long long>(sequence.size()) < length) {
        call next = {random.one_of(k_verbs)};
        if (!is_open && random.below(8) != 0) {
            next.what = verb::open;
            size = 0;
        } else if (next.what == verb::seek) {
            next.origin = static_cast<int>(random.below(3));
            long long const bases[] = {0, random.below(size + 1), size};
            long long const place = random.place(size);
            bool const is_far = __builtin_sub_overflow(place, bases[next.origin], &next.number);
            next.number = is_far ? place : next.number;
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
        auto const file = make();
        writer_session session(*file, where, known, log);
        for (auto const& each : sequence) {
            session.make(each);
        }
    }
    unlink(where.path.c_str());
}

}  // namespace kivplug
