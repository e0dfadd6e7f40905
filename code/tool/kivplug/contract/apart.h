// Sequences of calls, made in a process of their own: it may crash or hang.

#ifndef KIVPLUG_CONTRACT_APART_H
#define KIVPLUG_CONTRACT_APART_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "call.h"
#include "subject.h"

namespace kivplug {

// The sequences to make: how many, and each by its number. The function runs in the other process,
// after the subject's prepare.
struct workload {
    std::size_t count;
    std::function<calls(std::size_t)> sequence;
};

struct run_limits {
    int milliseconds = 0;  // for one sequence, besides what is in proportion to a plain read
    bool quiet = true;     // what the plug-in prints is dropped
};

struct made_call {
    std::string text;
    std::string result;  // empty when the call did not return
};

struct outcome {
    bool held = false;
    std::size_t number = 0;  // of the sequence that did not hold
    calls sequence;          // its calls
    std::vector<made_call> made;
    std::string expected;
    std::string promise;
};

// Makes one sequence after the other until one does not hold. Raises a failure when the subject
// cannot be prepared.
outcome run_apart(subject& tested, workload const& work, run_limits const& limits);

}  // namespace kivplug

#endif
