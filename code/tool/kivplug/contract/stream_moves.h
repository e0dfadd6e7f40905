// What the contracts of readers and writers have in common: where a stream is, and how it moves.

#ifndef KIVPLUG_CONTRACT_STREAM_MOVES_H
#define KIVPLUG_CONTRACT_STREAM_MOVES_H

#include <optional>
#include <string>

#include <morbase/whence.h>

#include "call.h"
#include "trace.h"

namespace kivplug {

// A stream may lack these, and then it always does.
struct stream_abilities {
    bool can_seek = false;
    bool can_tell = false;
    bool has_size = false;
};

// Where an open stream must be.
class stream_moves {
  public:
    // The name is put before the calls. The others must outlive this.
    stream_moves(stream_abilities const& abilities, trace const& reports, std::string called);

    // Where the next byte is. None after a failure: the contract leaves open where it leads.
    std::optional<long long>& position() { return place; }
    std::optional<long long> const& position() const { return place; }

    template <typename call_type>
    long long ask(std::string const& text, call_type const& made) const {
        return log.ask(name + text, made);
    }

    // Each makes the call to an rda or a wra of this size, and raises a breach.

    template <typename stream>
    void seek(stream& moved, call const& wanted, long long size) {
        auto const origin = static_cast<morbase::whence>(origin_of(wanted));
        auto const make = [&] { return moved.seek(wanted.number, origin); };
        check_seek(ask(text_of_seek(wanted), make), wanted, size);
    }

    template <typename stream>
    void tell(stream& asked) {
        check_tell(ask("tell()", [&] { return asked.tell(); }));
    }

    template <typename stream>
    void size(stream& asked, long long size) {
        check_size(ask("size()", [&] { return asked.size(); }), size);
    }

  private:
    static int origin_of(call const& wanted);
    static std::string text_of_seek(call const& wanted);
    void check_seek(long long reached, call const& wanted, long long size);
    void check_tell(long long told);
    void check_size(long long got, long long size);

    stream_abilities const& can;
    trace const& log;
    std::string name;
    std::optional<long long> place;
};

// may_be_refused: when something else that is open may be in the way.
void check_open(long long result, bool may_be_refused);
void check_close(long long result, bool was_open);

}  // namespace kivplug

#endif
