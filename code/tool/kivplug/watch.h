// The verb that prints what a monitor sees.

#ifndef KIVPLUG_WATCH_H
#define KIVPLUG_WATCH_H

#include "descriptor.h"
#include "host.h"
#include "operation.h"

namespace kivplug {

// One line for each event, as it comes, until SIGINT or SIGTERM, or until what is
// watched is gone, which the last line then says.
void watch(host const& from, byte_sink& out, view_options const& options);

}  // namespace kivplug

#endif
