// The attribute of a bind element that says which function it is for.

#ifndef KIVPLUG_CHECK_BIND_ATTRIBUTE_H
#define KIVPLUG_CHECK_BIND_ATTRIBUTE_H

#include <cstddef>
#include <optional>

#include "reporter.h"

namespace kivplug {

// Reports an element without it.
std::optional<markup_attribute> function_attribute(std::size_t bind, reporter& to);

}  // namespace kivplug

#endif
