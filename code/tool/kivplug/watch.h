// The verb that prints what a monitor sees.

#ifndef KIVPLUG_WATCH_H
#define KIVPLUG_WATCH_H

#include <string>

#include "descriptor.h"
#include "host.h"

namespace kivplug {

struct watch_options {
    std::string id;
    std::string path;
    bool json = false;
};

// One line for each event, as it comes, until SIGINT or SIGTERM, or until what is
// watched is gone, which the last line then says.
void watch(host const& from, byte_sink& out, watch_options const& options);

}  // namespace kivplug

#endif
