// A plug-in whose contract is put to the test, with what it opens.

#ifndef KIVPLUG_CONTRACT_SUBJECT_H
#define KIVPLUG_CONTRACT_SUBJECT_H

#include "call.h"
#include "dice.h"
#include "trace.h"

namespace kivplug {

// Each of the functions may end or block the process: the plug-in runs in them.
class subject {
  public:
    subject() = default;
    virtual ~subject() = default;

    subject(subject const&) = delete;
    subject& operator=(subject const&) = delete;

    // Learns from new objects, in the plainest way, what later calls must give. Raises a failure
    // when the plug-in does not get that far.
    virtual void prepare(trace const& log) = 0;

    // A sequence of calls. Comes after prepare, like run.
    virtual calls generate(dice& random) const = 0;

    // Makes the calls to new objects and compares what they give. Leaves out calls whose outcome
    // the contract leaves open where they stand, such as a read of what is not open.
    virtual void run(calls const& sequence, trace const& log) const = 0;
};

}  // namespace kivplug

#endif
