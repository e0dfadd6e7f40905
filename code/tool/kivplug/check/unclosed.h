// Elements and other constructs of a document that are not closed.

#ifndef KIVPLUG_CHECK_UNCLOSED_H
#define KIVPLUG_CHECK_UNCLOSED_H

#include <cstddef>

#include "reporter.h"

namespace kivplug {

void report_open_element(markup::open_element const& open, reporter& to);

// For a tag, a comment or the like that starts there.
void report_unended(std::size_t start, reporter& to);

}  // namespace kivplug

#endif
