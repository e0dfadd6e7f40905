// The words of descriptions, and which of them somebody meant.

#ifndef KIVPLUG_CHECK_VOCABULARY_H
#define KIVPLUG_CHECK_VOCABULARY_H

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace kivplug {

using words = std::vector<std::string>;

// The elements that belong in an element of this name, or in none.
words const& elements_inside(std::string_view element);

// Every element below a plugin element.
words const& all_elements();

// What the library calls, for a flavor, category and type; empty when it serves none.
struct served_functions {
    words needed;       // each of them
    words positioning;  // seek, or both others
};
served_functions functions_for(std::string const& flavor, std::string const& category,
                               std::string const& type);

words const& all_functions();
words const& all_flavors();
words const& c_types();
words const& all_types();

bool contains(words const& known, std::string_view word);

// The known word that somebody meant who wrote this one: another letter case, one slip in every
// three letters, a longer or a shorter form. Empty when there is none. A word itself is meant.
std::string meant_word(std::string_view written, words const& known);

}  // namespace kivplug

#endif
