// The verb check: looks for mistakes in plug-in directories, before a host loads them.

#ifndef KIVPLUG_CHECK_CHECK_H
#define KIVPLUG_CHECK_CHECK_H

#include <string>
#include <vector>

#include "checked_directory.h"
#include "descriptor.h"

namespace kivplug {

struct check_options {
    std::vector<std::string> directories;  // each a plug-in directory, or a directory of them
    bool json = false;
    std::string html;  // a file to write; empty for none
    bool strict = false;
    bool descriptions_only = false;  // leave the shared objects alone
    bool quiet = false;              // print only directories in which something was found
    long long time_limit = 10;       // seconds for a trial of one directory
    bool codes = false;              // print the table of all rules instead
};

// Checks the directories one after the other and prints what was found. True when that is
// nothing. Raises a failure when the work cannot be done.
bool check(byte_sink& out, check_options const& options);

// Checks one plug-in directory alone, without its conflicts with others.
checked_directory check_directory(std::string const& path);

}  // namespace kivplug

#endif
