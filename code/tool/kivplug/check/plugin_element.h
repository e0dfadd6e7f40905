// One plugin element of a description: which elements in it the library reads, and what they mean.

#ifndef KIVPLUG_CHECK_PLUGIN_ELEMENT_H
#define KIVPLUG_CHECK_PLUGIN_ELEMENT_H

#include <cstddef>

#include "facts.h"
#include "reporter.h"

namespace kivplug {

// The plug-in that the element is meant to describe. Reports elements that the library does not
// read, or reads as something else.
intended_plugin read_plugin(std::size_t element, reporter& to);

}  // namespace kivplug

#endif
