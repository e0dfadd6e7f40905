// Where a seek counts from: the first byte, the position, or behind the last byte. An
// offset from the end is negative for what lies inside.

#ifndef MORBASE_WHENCE_H
#define MORBASE_WHENCE_H

namespace morbase {

// The numbers are part of the interface of C-style plug-ins. The underlying type
// is fixed: a value from outside that is not listed is no undefined behaviour.
enum whence : int { from_start = 0, from_current = 1, from_end = 2 };

}  // namespace morbase

#endif
