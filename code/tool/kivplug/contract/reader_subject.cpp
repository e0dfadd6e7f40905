#include "reader_subject.h"

#include <utility>

#include "failure.h"

namespace kivplug {

namespace {

constexpr int k_longest = 20;  // sequence

// Each as often as in the sequences.
constexpr verb k_stream_verbs[] = {verb::read, verb::read, verb::read, verb::read,
                                   verb::seek, verb::seek, verb::seek, verb::tell,
                                   verb::size, verb::peek, verb::close};
constexpr verb k_file_verbs[] = {verb::select_file, verb::current_file, verb::list_files};

}  // namespace

reader_subject::reader_subject(host const& from, place opened)
    : where(std::move(opened)),
      make(maker_of<kivcore::reader>(from, where.id, kivcore::plugin::k_kind_reader)) {}

void reader_subject::prepare(trace const& log) {
    known = facts_of(make, where, log);
}

call reader_subject::next_call(dice& random) const {
    call made;
    bool const is_of_files = known.has_files && random.below(3) == 0;
    made.what = is_of_files ? random.one_of(k_file_verbs) : random.one_of(k_stream_verbs);
    if (made.what == verb::select_file) {
        made.number = random.below(static_cast<long long>(known.file_ends.size()) + 1);
    } else if (made.what == verb::seek) {
        made = seek_somewhere(random, known.size());
    } else if (made.what == verb::read || made.what == verb::peek) {
        made.number = random.place(known.size());
    }
    return made;
}

calls reader_subject::generate(dice& random) const {
    calls sequence;
    bool is_open[] = {false, false};
    bool const uses_two = random.below(4) == 0;
    auto const length = 2 + random.below(k_longest - 1);
    while (static_cast<long long>(sequence.size()) < length) {
        int const object = uses_two ? static_cast<int>(random.below(2)) : 0;
        call next = next_call(random);
        if (!is_open[object] && random.below(8) != 0) {
            next = {random.below(8) != 0 ? verb::open : verb::open_absent};
        }
        is_open[object] = next.what == verb::open || (is_open[object] && next.what != verb::close);
        next.object = object;
        sequence.push_back(next);
    }
    return sequence;
}

// A plug-in may support only one object at a time.
bool reader_subject::can_create_second(std::optional<reader_session>& second,
                                       trace const& log) const {
    try {
        second.emplace(make, where, known, log, "second reader: ");
        return true;
    } catch (failure const&) {
        return false;
    }
}

void reader_subject::run(calls const& sequence, trace const& log) const {
    reader_session first(make, where, known, log, "");
    std::optional<reader_session> second;
    for (auto const& each : sequence) {
        if (each.object == 0) {
            first.make(each, second && second->is_open());
            continue;
        }
        if (second || can_create_second(second, log)) {
            second->make(each, first.is_open());
        }
    }
}

}  // namespace kivplug
