// A reader under test. Every read, wherever a seek led, must agree with a plain read from start to
// end.

#ifndef KIVPLUG_CONTRACT_READER_SUBJECT_H
#define KIVPLUG_CONTRACT_READER_SUBJECT_H

#include <optional>

#include "host.h"
#include "operation.h"
#include "reader_session.h"
#include "stream_facts.h"
#include "subject.h"

namespace kivplug {

class reader_subject final : public subject {
  public:
    // from must outlive it.
    reader_subject(host const& from, place opened);

    void prepare(trace const& log) override;
    calls generate(dice& random) const override;
    void run(calls const& sequence, trace const& log) const override;

  private:
    call next_call(dice& random) const;
    bool can_create_second(std::optional<reader_session>& second, trace const& log) const;

    place where;
    make_reader make;
    stream_facts known;
};

}  // namespace kivplug

#endif
