// What people read on standard error: this program's messages, and what the library and
// plug-ins print. Nothing in them is a command to a terminal.

#ifndef KIVPLUG_NOTICES_H
#define KIVPLUG_NOTICES_H

#include <string>

#include "descriptor.h"

namespace kivplug {

// Prints text as it is: all of it must be ours.
void print_text(std::string const& text);

// Prints "kivplug: " and the message on a line.
void say(std::string const& message);

// Prints the lines of text, made printable.
void print_lines(std::string const& text);

// While an object of this class lives, what the process prints is kept: on standard error, and on
// standard output, which take_standard_output has made the same.
class notices {
  public:
    // Raises a failure when that cannot be done.
    notices();
    ~notices();

    notices(notices const&) = delete;
    notices& operator=(notices const&) = delete;

    // Returns what was printed until now. What comes later is printed at once again.
    std::string end();

  private:
    void restore() noexcept;

    descriptor kept;
    descriptor standard_error;
};

}  // namespace kivplug

#endif
