// 'kivplug contract': puts what a plug-in promises by its interface to the test, with random
// sequences of calls.

#ifndef KIVPLUG_CONTRACT_CONTRACT_H
#define KIVPLUG_CONTRACT_CONTRACT_H

#include <string>

#include "descriptor.h"
#include "host.h"

namespace kivplug {

struct contract_options {
    std::string id;
    std::string path;       // for a writer, where nothing may be
    std::string read_with;  // for a writer: the id of a reader of its files
    // At most one of them; otherwise the plug-in is tested as a reader.
    bool write = false;
    bool frames = false;
    bool browse = false;
    long long seed = 1;
    long long sequences = 1000;
    long long timeout = 20000;  // milliseconds, see run_limits
    bool json = false;
};

// Prints the shortest sequence found that breaks the contract. Whether there is none. Nothing of
// the plug-in runs in this process.
bool contract(host const& from, byte_sink& out, contract_options const& options);

}  // namespace kivplug

#endif
