#include "stream_facts.h"

#include <vector>

#include <kivcore/multi_file_reader.h>

#include "failure.h"
#include "text.h"

namespace kivplug {

namespace {

constexpr char const* k_read =
    "morbase/stream.h: read returns how many bytes were read, 0 at the "
    "end, negative for a failure";

constexpr std::size_t k_step = std::size_t{1} << 20;

// All of it is kept in memory.
constexpr std::size_t k_largest = std::size_t{256} << 20;

// How far beyond its size a stream is read that does not end there.
constexpr std::size_t k_beyond = std::size_t{1} << 20;

kivcore::instance<kivcore::reader> opened(make_reader const& make, place const& where,
                                          trace const& log) {
    log.send(trace::k_restart);
    auto file = make();
    log.send(trace::k_call, "open(" + quoted(where.path) + ", 'r')");
    open_for_reading(*file, where, "r");
    log.send(trace::k_result, "0");
    return file;
}

// A pipe, too, lets itself be sought to where it is. Of an empty stream nothing is learned, and
// nothing matters.
bool can_seek(kivcore::reader& file, trace const& log) {
    char byte = 0;
    log.ask("read(1)", [&] { return file.read(&byte, 1); });
    bool can = false;
    for (long long const offset : {0, 2}) {
        auto const move = [&] { return file.seek(offset, morbase::from_start); };
        can = log.ask("seek(" + std::to_string(offset) + ", start)", move) >= 0 || can;
    }
    return can;
}

void learn_files(kivcore::reader& file, trace const& log, stream_facts& facts) {
    auto* const row = dynamic_cast<kivcore::multi_file_reader*>(&file);
    facts.is_row = row != nullptr;
    long long const count =
        facts.is_row ? log.ask("file_count()", [&] { return row->file_count(); }) : 0;
    long long end = 0;
    for (unsigned int i = 0; i < count; ++i) {
        end += log.ask("file_size(" + std::to_string(i) + ")", [&] { return row->file_size(i); });
        facts.file_ends.push_back(end);
    }
}

}  // namespace

std::string plain_content(make_reader const& make, place const& where, trace const& log,
                          long long expected_size) {
    auto const file = opened(make, where, log);
    std::size_t const most =
        expected_size < 0 ? k_largest : static_cast<std::size_t>(expected_size) + k_beyond;
    std::vector<char> buffer(k_step);
    std::string content;
    for (std::size_t got = 1; got > 0 && content.size() < most;) {
        auto const result = log.ask("read(" + std::to_string(k_step) + ")",
                                    [&] { return file->read(buffer.data(), k_step); });
        if (result < 0 && expected_size == static_cast<long long>(content.size())) {
            break;  // instead of 0: sequences find that too, and shrink it
        }
        require(result >= 0 && result <= static_cast<long long>(k_step),
                "what there is, or 0 at the end, unless this is damaged: give something intact",
                k_read);
        got = static_cast<std::size_t>(result);
        content.append(buffer.data(), got);
        if (content.size() > k_largest) {
            throw failure(where.describe("read") + " gave more than " + std::to_string(k_largest) +
                          " bytes; give something smaller");
        }
    }
    return content;
}

stream_facts facts_of(make_reader const& make, place const& where, trace const& log) {
    stream_facts facts;
    auto const sized = opened(make, where, log);
    auto const size = log.ask("size()", [&] { return sized->size(); });
    facts.has_size = size >= 0;
    auto const told = opened(make, where, log);
    facts.can_tell = log.ask("tell()", [&] { return told->tell(); }) >= 0;
    facts.can_seek = can_seek(*opened(make, where, log), log);
    learn_files(*opened(make, where, log), log, facts);
    facts.content = plain_content(make, where, log, size);
    return facts;
}

}  // namespace kivplug
