// One of the readers of a sequence of calls, and its expected state.

#ifndef KIVPLUG_CONTRACT_READER_SESSION_H
#define KIVPLUG_CONTRACT_READER_SESSION_H

#include <string>

#include "call.h"
#include "stream_facts.h"
#include "trace.h"

namespace kivplug {

class reader_session {
  public:
    // `called` precedes its calls in the trace. The others must outlive the session.
    reader_session(make_reader const& make_file, place const& opened, stream_facts const& facts,
                   trace const& reports, std::string called);

    bool is_open() const noexcept { return opened; }

    // Makes the call, unless the contract leaves its effect open in this state. Raises a breach.
    // has_company: another reader has the file open, so that an open may be refused.
    void make(call const& wanted, bool has_company);

  private:
    void open(bool has_company);
    void close();
    void open_absent();
    void use(call const& wanted);
    void read(call const& wanted);
    bool may_fail_to_read(bool peeks) const;
    void check_bytes(char const* bytes, long long got, long long count, char const* promise) const;
    void select_file(call const& wanted);
    void current_file();
    void list_files();
    long long file_begin(std::size_t index) const;

    place const& where;
    stream_facts const& known;
    stream_moves at;
    kivcore::instance<kivcore::reader> file;
    bool opened = false;
};

}  // namespace kivplug

#endif
