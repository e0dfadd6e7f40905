// What an element in a section of a description means.

#ifndef KIVPLUG_CHECK_ELEMENT_MEANING_H
#define KIVPLUG_CHECK_ELEMENT_MEANING_H

#include <cstddef>
#include <string>

#include "reporter.h"

namespace kivplug {

struct meaning {
    std::string section = {};      // where it belongs
    std::string word = {};         // the element that the library knows; empty for none
    bool is_read_through = false;  // the library ignores the element, but reads what is in it
};

// Reports an element that is not what the library reads in the section.
meaning meaning_of(std::size_t element, std::string const& section, reporter& to);

// The same, in an element that the library ignores: there, its author may use any names.
meaning meaning_in_ignored(std::size_t element, std::string const& section, reporter& to);

}  // namespace kivplug

#endif
