// The system calls that a confined process does without.

#ifndef KIVPLUG_CHECK_SYSTEM_CALLS_H
#define KIVPLUG_CHECK_SYSTEM_CALLS_H

namespace kivplug {

// What a refused call would have done.
enum class intrusion { none, new_process, new_program, other_process, terminal };

// From now on, calls of this process that are an intrusion raise SIGSYS instead. Needs no right.
// Does nothing if the system cannot refuse them.
void refuse_system_calls();

// Emulators of processors, for example, cannot.
bool can_refuse_system_calls();

// What the call with this number would have done.
intrusion intrusion_of(long number);

}  // namespace kivplug

#endif
