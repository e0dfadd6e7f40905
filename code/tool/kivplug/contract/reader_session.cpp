#include "reader_session.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <kivcore/multi_file_reader.h>

#include "guarded_buffer.h"
#include "opened.h"

namespace kivplug {

namespace {

constexpr long long k_largest_read = 1LL << 20;

constexpr char const* k_read =
    "morbase/stream.h: read reads at most count bytes; it returns the number of bytes read, 0 at "
    "the end, negative on failure";
constexpr char const* k_peek =
    "morbase/stream.h: peek does the same as read, but does not move the position";
constexpr char const* k_files =
    "kivcore/multi_file_reader.h: files are numbered from 0; file_count is 0 while nothing is "
    "open, and file_size is negative if there is no such file";
constexpr char const* k_current =
    "kivcore/multi_file_reader.h: current_file returns the file that contains the stream's "
    "position";
constexpr char const* k_select =
    "kivcore/multi_file_reader.h: select_file moves the position to the start of a file; it "
    "returns 0 on success, negative if there is no such file";

}  // namespace

reader_session::reader_session(make_reader const& make_file, place const& opened_place,
                               stream_facts const& facts, trace const& reports, std::string called)
    : where(opened_place),
      known(facts),
      at(facts, reports, std::move(called)),
      file(reports.created(make_file)) {}

void reader_session::make(call const& wanted, bool has_company) {
    switch (wanted.what) {
        case verb::open:
            return open(has_company);
        case verb::close:
            return close();
        case verb::open_absent:
            return open_absent();
        case verb::list_files:
            return list_files();
        default:
            return opened ? use(wanted) : void();
    }
}

void reader_session::use(call const& wanted) {
    switch (wanted.what) {
        case verb::read:
        case verb::peek:
            return read(wanted);
        case verb::select_file:
            return select_file(wanted);
        case verb::current_file:
            return current_file();
        default:
            return at.make(*file, wanted, known.size());
    }
}

// What open does on an open reader is up to the plug-in.
void reader_session::open(bool has_company) {
    if (opened) {
        return;
    }
    auto const result =
        at.ask(text_of_open(where.path), [&] { return file->open(where.path, "r"); });
    check_open(result, has_company);
    opened = result == 0;
    at.position() = 0;
}

void reader_session::close() {
    auto const result = at.ask("close()", [&] { return file->close(); });
    check_close(result, opened);
    opened = false;
}

// The plug-in defines what paths mean, so this may even succeed.
void reader_session::open_absent() {
    if (opened) {
        return;
    }
    auto const path = where.path + "/there is no such file";
    auto const result = at.ask(text_of_open(path), [&] { return file->open(path, "r"); });
    if (result == 0) {
        at.ask("close()", [&] { return file->close(); });
    }
}

bool reader_session::may_fail_to_read(bool peeks) const {
    return !at.position() || *at.position() > known.size() ||
           (peeks && !(known.can_seek && known.can_tell));
}

void reader_session::read(call const& wanted) {
    bool const peeks = wanted.what == verb::peek;
    char const* const promise = peeks ? k_peek : k_read;
    long long const count = std::clamp(wanted.number, 0LL, k_largest_read);
    guarded_buffer buffer(static_cast<std::size_t>(count));
    auto const size = static_cast<unsigned long long>(count);
    auto const got = at.ask((peeks ? "peek(" : "read(") + std::to_string(count) + ")", [&] {
        return peeks ? file->peek(buffer.data(), size) : file->read(buffer.data(), size);
    });
    require(buffer.is_intact(), "no byte written outside the buffer", promise);
    if (got < 0 && may_fail_to_read(peeks)) {
        at.position().reset();
        return;
    }
    check_bytes(buffer.data(), got, count, promise);
    if (at.position() && !peeks) {
        *at.position() += got;
    }
}

void reader_session::check_bytes(char const* bytes, long long got, long long count,
                                 char const* promise) const {
    if (!at.position()) {
        require(got <= count, "at most " + std::to_string(count), promise);
        return;
    }
    long long const left = std::max(known.size() - *at.position(), 0LL);
    long long const most = std::min(count, left);
    require(got >= std::min(most, 1LL) && got <= most,
            most <= 1 ? std::to_string(most) : "1 to " + std::to_string(most), promise);
    if (got == 0) {
        return;
    }
    auto const* const right = known.content.data() + *at.position();
    auto const wrong = std::mismatch(bytes, bytes + got, right).first - bytes;
    require(wrong == got,
            "the bytes at " + std::to_string(*at.position()) +
                ", as a read from start to end returned them; byte " + std::to_string(wrong) +
                " differs",
            promise);
}

long long reader_session::file_begin(std::size_t index) const {
    return index > 0 ? known.file_ends[index - 1] : 0;
}

// If there is no such file, the contract leaves the position open.
void reader_session::select_file(call const& wanted) {
    auto* const files = dynamic_cast<kivcore::multi_file_reader*>(file.get());
    if (files == nullptr) {
        return;
    }
    auto const index = static_cast<unsigned int>(wanted.number);
    auto const result = at.ask("select_file(" + std::to_string(index) + ")",
                               [&] { return files->select_file(index); });
    bool const is_there = index < known.file_ends.size();
    require(is_there ? result == 0 : result < 0, is_there ? "0" : "a failure", k_select);
    at.position() = is_there ? std::optional(file_begin(index)) : std::nullopt;
}

// At the start of a file, an empty file before it may be the current one.
void reader_session::current_file() {
    auto* const files = dynamic_cast<kivcore::multi_file_reader*>(file.get());
    if (files == nullptr || !at.position() || *at.position() > known.size()) {
        return;
    }
    auto const index = static_cast<std::size_t>(
        at.ask("current_file()", [&] { return static_cast<long long>(files->current_file()); }));
    bool const is_there = index < known.file_ends.size();
    long long const begin = is_there ? file_begin(index) : 0;
    long long const end = is_there ? known.file_ends[index] : 0;
    bool const is_at_end = *at.position() == end && (begin == end || end == known.size());
    require(known.file_ends.empty() ||
                (is_there && *at.position() >= begin && (*at.position() < end || is_at_end)),
            "the file that contains the byte at " + std::to_string(*at.position()), k_current);
}

void reader_session::list_files() {
    auto* const files = dynamic_cast<kivcore::multi_file_reader*>(file.get());
    if (files == nullptr) {
        return;
    }
    auto const count = at.ask("file_count()", [&] { return files->file_count(); });
    auto const expected = opened ? static_cast<long long>(known.file_ends.size()) : 0;
    require(count == expected, std::to_string(expected), k_files);
    for (unsigned int i = 0; opened && i <= expected; ++i) {
        std::string const text = "file_size(" + std::to_string(i) + ")";
        auto const size = at.ask(text, [&] { return files->file_size(i); });
        bool const is_there = i < expected;
        long long const right = is_there ? known.file_ends[i] - file_begin(i) : -1;
        require(is_there ? size == right : size < 0,
                is_there ? std::to_string(right) : "a failure: there is no such file", k_files);
    }
}

}  // namespace kivplug
