// What an element in a section of a description is meant as.

#ifndef KIVPLUG_CHECK_ELEMENT_MEANING_H
#define KIVPLUG_CHECK_ELEMENT_MEANING_H

#include <cstddef>
#include <string>

#include "reporter.h"

namespace kivplug {

struct meaning {
    std::string section = {};  // where it belongs
    std::string word = {};     // the element that the library knows; empty for none
    bool is_read_through =
        false;  // whether the library reads what it holds as if it were not there
};

// Reports an element that is not what the library reads in the section.
meaning meaning_of(std::size_t element, std::string const& section, reporter& to);

}  // namespace kivplug

#endif
