// Characters of XML texts: white space, line ends and references.

#ifndef KIVPLUG_CHECK_MARKUP_TEXT_H
#define KIVPLUG_CHECK_MARKUP_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace kivplug {

constexpr char const* k_white_space = " \t\r\n";  // of XML

bool is_blank(std::string_view text);

// The text without white space at its ends.
std::string trimmed(std::string_view text);

// The character that a reference of this name means, in UTF-8; empty for an entity that the
// document has to declare.
std::string resolved(std::string_view name);

// The end of the reference that starts there; 0 for a bare "&".
std::size_t end_of_reference(std::string_view text, std::size_t start);

// The text with line ends as XML reads them, and references resolved.
std::string decoded(std::string_view raw);

}  // namespace kivplug

#endif
