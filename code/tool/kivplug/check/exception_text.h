// Exceptions and classes of strangers, for a message.

#ifndef KIVPLUG_CHECK_EXCEPTION_TEXT_H
#define KIVPLUG_CHECK_EXCEPTION_TEXT_H

#include <string>
#include <typeinfo>

namespace kivplug {

// As its source has it.
std::string type_name(std::type_info const& type);

// The class and the text of the exception that is being handled. Call this where the code that
// threw it is still in memory.
std::string exception_text();

}  // namespace kivplug

#endif
