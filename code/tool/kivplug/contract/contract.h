// 'kivplug contract': tests with random sequences of calls whether a plug-in does what the headers
// of its interface say.

#ifndef KIVPLUG_CONTRACT_CONTRACT_H
#define KIVPLUG_CONTRACT_CONTRACT_H

#include <string>

#include "descriptor.h"
#include "host.h"

namespace kivplug {

struct contract_options {
    std::string id;
    std::string path;       // for a writer, of a file that does not exist
    std::string read_with;  // for a writer, the id of a reader of its files; or empty
    // At most one of these is true. If none is, the plug-in is tested as a reader.
    bool write = false;
    bool frames = false;
    bool browse = false;
    long long seed = 1;
    long long sequences = 1000;
    long long timeout = 20000;  // milliseconds, see listener
    bool json = false;
};

// Prints the shortest sequence found that breaks the contract. Returns whether there is none. Calls
// the plug-in only in other processes.
bool contract(host const& from, byte_sink& out, contract_options const& options);

}  // namespace kivplug

#endif
