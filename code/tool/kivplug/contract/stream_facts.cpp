#include "stream_facts.h"

#include <vector>

#include <kivcore/multi_file_reader.h>

#include "failure.h"
#include "opened.h"

namespace kivplug {

namespace {

constexpr char const* k_read =
    "morbase/stream.h: read returns the number of bytes read, 0 at the end, negative on failure";

constexpr char const* k_files =
    "kivcore/multi_file_reader.h: file_size returns a file's size, negative if there is no such "
    "file";

constexpr std::size_t k_step = std::size_t{1} << 20;

// All of it is kept in memory.
constexpr std::size_t k_largest = std::size_t{256} << 20;

// How far a stream is read that does not end at its size.
constexpr std::size_t k_beyond = std::size_t{1} << 20;

// Seeks back. A pipe, too, may support seeks to where it is, or forward.
bool can_seek(kivcore::reader& file, trace const& log) {
    char byte = 0;
    log.ask("read(1)", [&] { return file.read(&byte, 1); });
    return log.ask("seek(0, start)", [&] { return file.seek(0, morbase::from_start); }) >= 0;
}

void learn_files(kivcore::reader& file, trace const& log, stream_facts& facts) {
    auto* const files = dynamic_cast<kivcore::multi_file_reader*>(&file);
    facts.has_files = files != nullptr;
    long long const count =
        facts.has_files ? log.ask("file_count()", [&] { return files->file_count(); }) : 0;
    long long end = 0;
    for (unsigned int i = 0; i < count; ++i) {
        std::string const text = "file_size(" + std::to_string(i) + ")";
        long long const size = log.ask(text, [&] { return files->file_size(i); });
        require(size >= 0, "0 or more: file_count returned " + std::to_string(count), k_files);
        end += size;
        facts.file_ends.push_back(end);
    }
}

}  // namespace

std::string plain_content(make_reader const& make, place const& where, trace const& log,
                          long long expected_size) {
    auto const file = opened(make, where, log);
    std::size_t const most =
        expected_size < 0 ? k_largest + 1 : static_cast<std::size_t>(expected_size) + k_beyond;
    std::vector<char> buffer(k_step);
    std::string content;
    for (std::size_t got = 1; got > 0 && content.size() < most;) {
        auto const result = log.ask("read(" + std::to_string(k_step) + ")",
                                    [&] { return file->read(buffer.data(), k_step); });
        if (result < 0 && expected_size == static_cast<long long>(content.size())) {
            break;  // instead of 0: the sequences find that too, and it can be shrunk there
        }
        require(result >= 0 && result <= static_cast<long long>(k_step),
                "a number of bytes, or 0 at the end; if the file is damaged, use an intact one",
                k_read);
        got = static_cast<std::size_t>(result);
        content.append(buffer.data(), got);
        if (content.size() > k_largest) {
            throw failure(where.describe("read") + " returned more than " +
                          std::to_string(k_largest) + " bytes; use something smaller");
        }
    }
    return content;
}

stream_facts facts_of(make_reader const& make, place const& where, trace const& log) {
    stream_facts facts;
    auto const size = log.ask("size()", [file = opened(make, where, log)] { return file->size(); });
    facts.has_size = size >= 0;
    facts.can_tell =
        log.ask("tell()", [file = opened(make, where, log)] { return file->tell(); }) >= 0;
    facts.can_seek = can_seek(*opened(make, where, log), log);
    learn_files(*opened(make, where, log), log, facts);
    facts.content = plain_content(make, where, log, size);
    return facts;
}

}  // namespace kivplug
