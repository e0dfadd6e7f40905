// Where in a plug-in its process came to an end.

#ifndef KIVPLUG_CHECK_CRASH_PLACE_H
#define KIVPLUG_CHECK_CRASH_PLACE_H

#include <string>

#include "trial_record.h"

namespace kivplug {

// From now on, a signal that ends this process, a call of exit and a system call that is refused
// leave their place in the record: that of the innermost call in the shared object with this path.
// So does an exception that is not caught, with its text. Both parameters must stay.
void note_crashes(trial_record& record, std::string const& object);

}  // namespace kivplug

#endif
