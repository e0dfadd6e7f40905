// This program's messages on standard error. Nothing in them is a command to a terminal.

#ifndef KIVPLUG_NOTICES_H
#define KIVPLUG_NOTICES_H

#include <string>

namespace kivplug {

// Prints text as it is: all of it must be ours.
void print_text(std::string const& text);

// Prints "kivplug: " and the message on a line.
void say(std::string const& message);

}  // namespace kivplug

#endif
