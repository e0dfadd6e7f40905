// The program's standard output belongs to its own results. The library and the
// plug-ins print notices there too, from any thread and whenever they please.

#ifndef KIVPLUG_OUTPUT_H
#define KIVPLUG_OUTPUT_H

#include "descriptor.h"

namespace kivplug {

// Takes standard output away for the caller alone: from now on everybody else who
// prints there prints to standard error. Call it once, before anything is printed.
// Also makes a closed pipe and a limit to the size of files errors of the write instead of
// the program's end.
byte_sink take_standard_output();

}  // namespace kivplug

#endif
