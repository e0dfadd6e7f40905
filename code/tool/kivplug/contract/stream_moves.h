// The part of the contract that readers and writers share: the position of a stream.

#ifndef KIVPLUG_CONTRACT_STREAM_MOVES_H
#define KIVPLUG_CONTRACT_STREAM_MOVES_H

#include <optional>
#include <string>

#include <morbase/whence.h>

#include "call.h"
#include "dice.h"
#include "trace.h"

namespace kivplug {

// What a stream supports. It may lack any of these, but then must lack it always.
struct stream_abilities {
    bool can_seek = false;  // back and forward; and from the end if it has a size
    bool can_tell = false;
    bool has_size = false;
};

// Compares the position of an open stream with where it must be.
class stream_moves {
  public:
    // `called` precedes the calls in the trace. The others must outlive this.
    stream_moves(stream_abilities const& abilities, trace const& reports, std::string called);

    // The expected position. Unknown after a failure, because the contract leaves it open.
    std::optional<long long>& position() { return place; }
    std::optional<long long> const& position() const { return place; }

    template <typename call_type>
    long long ask(std::string const& text, call_type const& made) const {
        return log.ask(name + text, made);
    }

    // Calls seek, tell or size of an rda or a wra of this size. Raises a breach.
    template <typename stream>
    void make(stream& moved, call const& wanted, long long size) {
        if (wanted.what == verb::seek) {
            auto const origin = static_cast<morbase::whence>(origin_of(wanted));
            auto const seek = [&] { return moved.seek(wanted.number, origin); };
            check_seek(ask(text_of_seek(wanted), seek), wanted, size);
        } else if (wanted.what == verb::tell) {
            check_tell(ask("tell()", [&] { return moved.tell(); }));
        } else if (wanted.what == verb::size) {
            check_size(ask("size()", [&] { return moved.size(); }), size);
        }
    }

  private:
    static int origin_of(call const& wanted);
    static std::string text_of_seek(call const& wanted);
    void check_seek(long long reached, call const& wanted, long long size);
    void check_tell(long long reached);
    void check_size(long long got, long long size);

    stream_abilities const& can;
    trace const& log;
    std::string name;
    std::optional<long long> place;
};

// A seek to a random position in a stream of this size, from a random origin.
call seek_somewhere(dice& random, long long size);

// may_be_refused: another object may have the file open exclusively.
void check_open(long long result, bool may_be_refused);
void check_close(long long result, bool was_open);

}  // namespace kivplug

#endif
