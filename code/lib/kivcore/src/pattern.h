// Regular expressions in PCRE syntax, matched against whole texts. This header hides the regular
// expression library. It has two implementations, pattern_pcre2.cpp and pattern_pcrecpp.cpp; the
// CMake option KIVCORE_REGEX chooses one. A pattern means the same in both: there are no options,
// texts are bytes, newlines are the library's default, an unknown escape is a letter, and a
// pattern with a NUL matches nothing. tests/support/pattern_seats.cpp lists the rare exceptions.
//
// Patterns and texts may be hostile. A pattern that is too long or too deeply nested to be
// compiled on a small stack matches nothing. A text does not match if matching it exceeds the
// search's budget, or the limit on the memory or stack of a match.

#ifndef KIVCORE_PATTERN_H
#define KIVCORE_PATTERN_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kivcore {

// The texts that the pattern matches from the first to the last byte, in their order. Empty if
// the pattern does not compile. Do not hold a lock: a hostile pattern takes seconds. Raises
// std::bad_alloc.
std::vector<std::string> matching(std::string const& pattern,
                                  std::vector<std::string_view> const& texts);

// The literal characters with which every matching text begins; may be empty.
std::string literal_start(std::string const& pattern);

// The rest is for the two sources only.

// Whether the pattern may contain calls of groups, or verbs that control a match.
bool has_calls_or_verbs(std::string const& pattern);

// The number of steps that the match of one text may take. A step may read the whole text and
// part of the program, so the budget of a search is in steps times bytes: 10^10, or 2 * 10^7 for
// each text if that is more. Each of the `texts` texts gets an equal share, so a result depends
// on the number of the other texts, but not on their content.
unsigned int steps_for(std::size_t text_bytes, std::size_t program_bytes, std::size_t texts);

}  // namespace kivcore

#endif
