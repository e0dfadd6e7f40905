// What a process gives up before it runs the code of a plug-in.

#ifndef KIVPLUG_CHECK_CONFINEMENT_H
#define KIVPLUG_CHECK_CONFINEMENT_H

#include <sys/types.h>

namespace kivplug {

// Confines this process, for good, so that code in it can harm nothing but the process:
// - It can neither start another process nor run another program. So its end is the end of all
//   that it did, and nothing is left over that would have to be found.
// - It cannot signal, trace or limit other processes, nor set a terminal. A try raises SIGSYS.
// - It has no terminal, no open files but the standard ones, and of the capabilities of root only
//   those about files.
// - Files that it writes stay small, and it leaves no core.
// - It ends with its parent, and cannot change that.
// All this holds for root and for everyone else, also in containers that forbid name spaces.
// Time, memory and threads are not limited here: sanitizers and others reserve terabytes that they
// never use. Whoever waits for the process watches what it takes.
void confine(pid_t parent);

}  // namespace kivplug

#endif
