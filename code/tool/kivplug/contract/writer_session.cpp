#include "writer_session.h"

#include <unistd.h>

#include <algorithm>

#include "descriptor.h"
#include "failure.h"
#include "opened.h"
#include "text.h"

namespace kivplug {

namespace {

constexpr long long k_largest_write = 1LL << 20;

// How far beyond the end it writes.
constexpr long long k_largest_gap = 65536;

constexpr char const* k_close = "kivcore/writer.h: the data is safe after close has succeeded";
constexpr char const* k_write =
    "morbase/stream.h: write writes at most count bytes; it returns the number of bytes written, "
    "negative on failure; the caller writes the rest with the next call";
constexpr char const* k_flush =
    "morbase/stream.h: flush writes out everything that the stream has buffered; it returns 0 on "
    "success";

}  // namespace

std::string raw_content(std::string const& path, std::size_t most) {
    descriptor const file = bundled::open_for_reading(path.c_str());
    std::string content;
    char bytes[65536];
    for (ssize_t got = 1; file.is_open() && got > 0 && content.size() < most;) {
        got = bundled::read_at(file.get(), bytes, sizeof bytes,
                               static_cast<long long>(content.size()));
        content.append(bytes, got > 0 ? static_cast<std::size_t>(got) : 0);
    }
    return content;
}

void writer_session::make(call const& wanted) {
    switch (wanted.what) {
        case verb::open:
            return open();
        case verb::close:
            return close();
        default:
            return opened ? use(wanted) : void();
    }
}

void writer_session::use(call const& wanted) {
    switch (wanted.what) {
        case verb::write:
            return write(wanted.number);
        case verb::flush:
            return flush();
        default:
            return at.make(file, wanted, length());
    }
}

// The file is always new: what open does to an existing one is up to the plug-in.
void writer_session::open() {
    if (opened) {
        return;
    }
    unlink(where.path.c_str());
    auto const result =
        log.ask(text_of_open(where.path, "w"), [&] { return file.open(where.path, "w"); });
    check_open(result, false);
    opened = true;
    content.clear();
    at.position() = 0;
}

void writer_session::close() {
    auto const result = log.ask("close()", [&] { return file.close(); });
    check_close(result, opened);
    if (opened) {
        opened = false;
        check_file(k_close);
    }
}

// Writes nothing if the position is unknown, or so far away that it would take long.
void writer_session::write(long long wanted) {
    if (!at.position() || *at.position() > length() + k_largest_gap) {
        return;
    }
    auto const count = static_cast<std::size_t>(std::clamp(wanted, 0LL, k_largest_write));
    std::string bytes(count, '\0');
    for (std::size_t i = 0; i < count; ++i) {
        auto const place = written + static_cast<unsigned int>(i);
        bytes[i] = static_cast<char>((place * 2654435761U) >> 24);
    }
    auto const text = "write(" + std::to_string(count) + ")";
    auto const done = log.ask(text, [&] { return file.write(bytes.data(), count); });
    auto const most = static_cast<long long>(count);
    require(done >= std::min(most, 1LL) && done <= most,
            most <= 1 ? std::to_string(most) : "1 to " + std::to_string(most), k_write);
    auto const first = static_cast<std::size_t>(*at.position());
    auto const moved = static_cast<std::size_t>(done);
    if (moved > 0) {
        content.resize(std::max(content.size(), first + moved));
        std::copy_n(bytes.begin(), moved, content.data() + first);
    }
    written += static_cast<unsigned int>(moved);
    *at.position() += done;
}

void writer_session::flush() {
    auto const result = log.ask("flush()", [&] { return file.flush(); });
    require(result == 0, "0", k_flush);
    if (known.is_raw) {
        check_file(k_flush);
    }
}

// The content of the file, decoded if the writer encodes it.
std::string writer_session::held() const {
    if (known.is_raw) {
        return raw_content(where.path, content.size() + k_largest_gap);
    }
    log.send(trace::k_call, "reading it back with " + printable(known.reader));
    try {
        auto read = plain_content(known.read_back, {known.reader, where.path}, trace(-1), -1);
        log.send(trace::k_result, std::to_string(read.size()) + " bytes");
        return read;
    } catch (failure const& error) {
        log.send(trace::k_result, std::string("a failure: ") + error.what());
    } catch (breach const&) {
        log.send(trace::k_result, "a failure after some of it");
    }
    throw breach{std::to_string(length()) + " bytes", k_close};
}

void writer_session::check_file(char const* promise) const {
    auto const found = held();
    bool const is_held =
        found.size() == content.size() &&
        std::equal(content.begin(), content.end(), found.begin(),
                   [](auto const& wanted, char byte) { return !wanted || *wanted == byte; });
    require(is_held,
            "a file with what was written, of size " + std::to_string(content.size()) +
                "; its size is " + std::to_string(found.size()) +
                (found.size() == content.size() ? ", with other bytes" : ""),
            promise);
}

}  // namespace kivplug
