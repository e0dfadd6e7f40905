// A plug-in under test, with what it opens.

#ifndef KIVPLUG_CONTRACT_SUBJECT_H
#define KIVPLUG_CONTRACT_SUBJECT_H

#include "call.h"
#include "dice.h"
#include "trace.h"

namespace kivplug {

// Each function may end or block the process, because it calls the plug-in.
class subject {
  public:
    subject() = default;
    virtual ~subject() = default;

    subject(subject const&) = delete;
    subject& operator=(subject const&) = delete;

    // Finds out with the simplest calls, on new objects, what later calls must return. Raises a
    // failure if the plug-in cannot do that, or a breach.
    virtual void prepare(trace const& log) = 0;

    // A sequence of calls. Call prepare first, for this and for run.
    virtual calls generate(dice& random) const = 0;

    // Makes the calls on new objects and compares the results. Skips calls whose effect the
    // contract leaves open, such as a read while nothing is open. Raises a breach.
    virtual void run(calls const& sequence, trace const& log) const = 0;
};

}  // namespace kivplug

#endif
