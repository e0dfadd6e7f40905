// Makes sequences of calls in a separate process, which may crash or hang.

#ifndef KIVPLUG_CONTRACT_APART_H
#define KIVPLUG_CONTRACT_APART_H

#include <cstddef>
#include <functional>

#include "call.h"
#include "listener.h"
#include "subject.h"

namespace kivplug {

// How many sequences to make, and a function that returns each by its number. It is called in the
// other process, after the subject's prepare.
struct workload {
    std::size_t count;
    std::function<calls(std::size_t)> sequence;
};

struct run_limits {
    int milliseconds = 0;  // see listener
    bool quiet = true;     // drop what the plug-in prints
};

// Makes the sequences in order, until one breaks the contract. Raises a failure if the subject
// cannot be prepared.
outcome run_apart(subject& tested, workload const& work, run_limits const& limits);

}  // namespace kivplug

#endif
