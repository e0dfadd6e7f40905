// The writer of a sequence of calls, and the expected content of its file.

#ifndef KIVPLUG_CONTRACT_WRITER_SESSION_H
#define KIVPLUG_CONTRACT_WRITER_SESSION_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "call.h"
#include "trace.h"
#include "writer_subject.h"

namespace kivplug {

// The content of a file, without any plug-in; empty if there is no file. Stops soon after `most`
// bytes, because a file with a gap may be huge.
std::string raw_content(std::string const& path, std::size_t most);

class writer_session {
  public:
    // All of these must outlive the session.
    writer_session(kivcore::writer& used, place const& scratch, writer_facts const& facts,
                   trace const& reports)
        : file(used), where(scratch), known(facts), log(reports), at(facts, reports, "") {}

    // Makes the call, unless the contract leaves its effect open in this state. Raises a breach.
    void make(call const& wanted);

  private:
    void open();
    void close();
    void use(call const& wanted);
    void write(long long wanted);
    void flush();
    std::string held() const;
    void check_file(char const* promise) const;
    long long length() const { return static_cast<long long>(content.size()); }

    kivcore::writer& file;
    place const& where;
    writer_facts const& known;
    trace const& log;
    stream_moves at;
    bool opened = false;
    std::vector<std::optional<char>> content;  // unknown in gaps after a seek
    unsigned int written = 0;  // since the start, so that the content does not repeat
};

}  // namespace kivplug

#endif
