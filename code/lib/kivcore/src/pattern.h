// Regular expressions in PCRE's syntax, matched against whole texts. This header is the only
// door to the regular expression library. Two sources implement it, pattern_pcre2.cpp and
// pattern_pcrecpp.cpp; the CMake option KIVCORE_REGEX chooses one. A pattern means the same in
// both, except in the rare cases that tests/support/pattern_seats.cpp lists: there are no options,
// texts are bytes, newlines are those of the library's default, an unknown escape is a letter, and
// a pattern with a NUL matches nothing.
//
// Patterns and texts may be hostile. A pattern that is too long or too deeply nested to be
// compiled on a small stack matches nothing. A text on which a match hits a bound does not
// match: the search's budget, or the match's memory or stack.

#ifndef KIVCORE_PATTERN_H
#define KIVCORE_PATTERN_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kivcore {

// The texts that the pattern matches from their first to their last byte, in their order.
// Empty if the pattern does not compile. A hostile pattern takes seconds: hold no lock.
// Raises std::bad_alloc.
std::vector<std::string> matching(std::string const& pattern,
                                  std::vector<std::string_view> const& texts);

// The plain characters with which every text that the pattern matches begins; may be empty.
std::string literal_start(std::string const& pattern);

// The rest is for the two sources only.

// Whether the pattern may call groups, or has verbs that direct a match.
bool has_calls_or_verbs(std::string const& pattern);

// How many steps the match of a text may take. A step may look at the whole text and at a part of
// the program, so a search has one budget of steps times bytes: 10^10, or 2 * 10^7 for each text if
// that is more. Each text, of which there are `texts`, has an equal share, and a result depends on
// no other text but by their number.
unsigned int steps_for(std::size_t text_bytes, std::size_t program_bytes, std::size_t texts);

}  // namespace kivcore

#endif
