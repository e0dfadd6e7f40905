// What a browser says about one path, and the calls that ask for it.

#ifndef KIVPLUG_CONTRACT_BROWSED_PLACE_H
#define KIVPLUG_CONTRACT_BROWSED_PLACE_H

#include <map>
#include <string>
#include <vector>

#include <kivcore/browser.h>

#include "call.h"
#include "trace.h"

namespace kivplug {

struct browsed_place {
    std::string path;
    bool is_directory = false;  // listed as a directory, and not as a file
    bool is_file = false;       // listed as a file
    bool needs_info = false;    // otherwise it does not exist
    bool is_absent = false;     // as far as anyone can say
    bool can_browse = false;
    kivcore::browser::entry_list directories;
    kivcore::browser::entry_list files;
    std::map<std::string, std::string> info;
    std::string url;
};

// Asks for everything about a path. Raises a breach if there is no answer.
browsed_place learned(kivcore::browser& source, trace const& log, browsed_place at);

// Makes the call, and compares its result with what is known. Raises a breach.
void make_call(kivcore::browser& source, call const& wanted, browsed_place const& at,
               trace const& log);

}  // namespace kivplug

#endif
