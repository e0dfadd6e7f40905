// Reduces a sequence of calls that breaks the contract to a short one that does, too.

#ifndef KIVPLUG_CONTRACT_SHRINK_H
#define KIVPLUG_CONTRACT_SHRINK_H

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "call.h"

namespace kivplug {

// Returns which of the sequences is the first that breaks the contract.
using first_broken = std::function<std::optional<std::size_t>(std::vector<calls> const&)>;

// Leaves out calls and makes numbers smaller, as long as the rest still breaks the contract.
// Returns the same for the same answers, and asks a limited number of times.
calls shrunk(calls sequence, first_broken const& ask);

}  // namespace kivplug

#endif
