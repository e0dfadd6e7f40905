// What all code of a process shares, and a plug-in must leave as it is.

#ifndef KIVPLUG_CHECK_HOST_STATE_H
#define KIVPLUG_CHECK_HOST_STATE_H

#include <map>
#include <string>

namespace kivplug {

class host_state {
  public:
    // As it is now.
    host_state();

    // What is another since, with both values; empty when nothing is.
    std::string change() const;

    // What has a handler that was set since and is not in memory any more; empty without one.
    std::string lost_handler() const;

    // The number of a file that was open and was closed or replaced since; -1 without one.
    int lost_file() const;

    // A file that was opened since and is still open; empty without one.
    std::string open_file() const;

  private:
    std::map<std::string, std::string> values;       // by what they are called
    std::map<std::string, std::string> environment;  // the same
    std::map<std::string, void*> handlers;           // by what they handle
    std::map<int, std::string> files;                // what each descriptor is; empty without /proc
    std::map<int, std::string> identities;           // of the files with the first numbers
};

}  // namespace kivplug

#endif
