// Finds a short sequence of calls that does not hold, out of a longer one.

#ifndef KIVPLUG_CONTRACT_SHRINK_H
#define KIVPLUG_CONTRACT_SHRINK_H

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "call.h"

namespace kivplug {

// The first of the sequences that does not hold.
using first_broken = std::function<std::optional<std::size_t>(std::vector<calls> const&)>;

// Leaves out calls and makes numbers smaller, as long as the rest does not hold either. Gives the
// same for the same answers, and asks a bounded number of times.
calls shrunk(calls sequence, first_broken const& ask);

}  // namespace kivplug

#endif
