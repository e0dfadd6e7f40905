// What the dynamic linker replaces in paths.

#ifndef KIVPLUG_CHECK_LINKER_TOKENS_H
#define KIVPLUG_CHECK_LINKER_TOKENS_H

#include <string>

namespace kivplug {

// The first token in the path; empty without one. Without braces, a token ends where a name
// would: $LIB-64 has one, $LIB64 has none.
std::string token_in(std::string const& path);

// The text with $ORIGIN replaced by the directory origin, $LIB by library_directory and $PLATFORM
// by the processor's name.
std::string with_tokens_replaced(std::string const& text, std::string const& origin,
                                 std::string const& library_directory);

}  // namespace kivplug

#endif
