// The frame reader of a sequence of calls, and its expected state.

#ifndef KIVPLUG_CONTRACT_FRAME_SESSION_H
#define KIVPLUG_CONTRACT_FRAME_SESSION_H

#include <optional>
#include <string>
#include <vector>

#include "call.h"
#include "frame_subject.h"
#include "trace.h"

namespace kivplug {

class frame_session {
  public:
    // All of these must outlive the session.
    frame_session(kivcore::frame_reader& used, place const& opened_place,
                  std::vector<track_facts> const& facts, trace const& reports)
        : file(used), where(opened_place), known(facts), log(reports) {}

    // Makes the call, unless the contract leaves its effect open in this state. Raises a breach.
    void make(call const& wanted);

  private:
    void open();
    void close();
    void count_tracks();
    void describe(unsigned int track);
    void select(unsigned int track);
    void use_track(call const& wanted);
    void tell();
    void seek(long long frame);
    void read(long long wanted);

    kivcore::frame_reader& file;
    place const& where;
    std::vector<track_facts> const& known;
    trace const& log;
    bool opened = false;
    bool has_selected = false;  // since it was opened
    track_facts const* selected = nullptr;
    std::optional<long long> position;  // in frames; unknown where the contract leaves it open
};

}  // namespace kivplug

#endif
