// The command line. A new verb needs its options, a function in arguments.cpp that adds it, and a
// source file for its work.

#ifndef KIVPLUG_ARGUMENTS_H
#define KIVPLUG_ARGUMENTS_H

#include <stdexcept>
#include <string>
#include <utility>

#include "descriptor.h"

namespace kivplug {

// The command line is wrong. The message says why.
class misuse : public std::runtime_error {
  public:
    misuse(std::string const& reason, std::string how_to)
        : std::runtime_error(reason), help(std::move(how_to)) {}

    // The help of the verb, or that of kivplug if no verb is known.
    std::string const& usage() const noexcept { return help; }

  private:
    std::string help;
};

// Does what the words ask for; results go to out. False when something was not as it should be, and
// all about that has been printed. Raises misuse before any work is done.
bool carry_out(byte_sink& out, int count, char** words);

}  // namespace kivplug

#endif
