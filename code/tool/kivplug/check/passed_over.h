// What the library skips together with config and input.

#ifndef KIVPLUG_CHECK_PASSED_OVER_H
#define KIVPLUG_CHECK_PASSED_OVER_H

#include <cstddef>

#include "reporter.h"

namespace kivplug {

// The library skips an element such as config, and the node right after it. Reports it if that
// node matters.
void check_passed_over(std::size_t element, reporter& to);

}  // namespace kivplug

#endif
