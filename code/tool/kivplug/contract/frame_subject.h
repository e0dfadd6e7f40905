// A frame reader under test. Frames after seeks must be the same as when read in order.

#ifndef KIVPLUG_CONTRACT_FRAME_SUBJECT_H
#define KIVPLUG_CONTRACT_FRAME_SUBJECT_H

#include <string>
#include <vector>

#include <kivcore/frame_reader.h>

#include "host.h"
#include "maker.h"
#include "operation.h"
#include "subject.h"

namespace kivplug {

struct track_facts {
    std::vector<std::string> frames;
    std::string description;
    long long largest = 0;  // bytes of a frame
    bool can_seek = false;

    long long count() const { return static_cast<long long>(frames.size()); }
};

// The number of frames according to the record; 0 if unknown.
long long stated_frames(kivcore::frame_reader::media_information const& record);

class frame_subject final : public subject {
  public:
    // from must outlive it.
    frame_subject(host const& from, place opened);

    void prepare(trace const& log) override;
    calls generate(dice& random) const override;
    void run(calls const& sequence, trace const& log) const override;

  private:
    track_facts facts_of(unsigned int track, trace const& log) const;
    void read_frames(kivcore::frame_reader& file, trace const& log, long long stated,
                     track_facts& facts) const;
    call next_call(dice& random) const;

    place where;
    maker<kivcore::frame_reader> make;
    std::vector<track_facts> known;
};

}  // namespace kivplug

#endif
