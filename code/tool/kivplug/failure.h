// How a verb gives up. Both end the program with status 1.

#ifndef KIVPLUG_FAILURE_H
#define KIVPLUG_FAILURE_H

#include <exception>
#include <stdexcept>

namespace kivplug {

// The work cannot be done. The message is one line for whoever started the program:
// what is wrong, where, and what to do next.
class failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The reader of our standard output has gone, as `head` does when it has seen enough. Nobody would
// read a message, so this ends the program without one. It is not a `failure`: nothing on the way
// out may turn it into a message.
class output_closed : public std::exception {
  public:
    char const* what() const noexcept override { return "standard output is closed"; }
};

}  // namespace kivplug

#endif
