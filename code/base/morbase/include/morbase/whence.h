// What the offset of a seek is relative to: the start, the current position, or the end. An
// offset from the end into the stream is negative.

#ifndef MORBASE_WHENCE_H
#define MORBASE_WHENCE_H

namespace morbase {

// The numbers are part of the interface of C-style plug-ins. The underlying type is fixed, so
// that a value from outside that is not listed is not undefined behaviour.
enum whence : int { from_start = 0, from_current = 1, from_end = 2 };

}  // namespace morbase

#endif
