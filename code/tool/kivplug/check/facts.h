// The texts of a description's elements, as their author must mean them.

#ifndef KIVPLUG_CHECK_FACTS_H
#define KIVPLUG_CHECK_FACTS_H

#include <cstddef>
#include <map>
#include <string>

#include "reporter.h"

namespace kivplug {

// The text of one element.
struct fact {
    std::size_t element;
    std::string value;
    std::size_t place;     // of the value, or else of the element
    bool is_sound = true;  // whether nothing was reported about the text
};

struct intended_binding {
    std::size_t place;  // of the attribute that names the function
    fact symbol;
};

// A plugin element. What was misspelled or misplaced counts as what was meant.
struct intended_plugin {
    std::size_t element;
    std::size_t interface = k_nowhere;  // the first of these elements
    std::size_t info = k_nowhere;
    std::map<std::string, fact> facts = {};                 // by the library's key
    std::map<std::string, intended_binding> bindings = {};  // by function
    bool is_unclear = false;                                // so that its values are not judged
    bool is_binding_broken = false;  // whether there are others, whose functions are not known
};

// The text of the element. Reports where the library reads another one. `taken` is then the piece
// that it reads, and k_nowhere otherwise.
fact read_fact(std::size_t element, reporter& to, std::size_t& taken);

}  // namespace kivplug

#endif
