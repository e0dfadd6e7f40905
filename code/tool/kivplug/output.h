// The program's standard output belongs to its own results. The library and the
// plug-ins print notices there too, from any thread and whenever they please.

#ifndef KIVPLUG_OUTPUT_H
#define KIVPLUG_OUTPUT_H

#include "descriptor.h"

namespace kivplug {

// Reserves standard output for the caller: from now on, what anybody else prints there goes to
// standard error. Call it once, before anything is printed. After it, a closed pipe or a limit on
// the size of files makes a write fail instead of ending the program.
byte_sink take_standard_output();

}  // namespace kivplug

#endif
