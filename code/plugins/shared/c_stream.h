// What the plug-ins in C share: opening a descriptor, the bound of one transfer, and where a
// seek leads. Failures are negative errno values.

#ifndef BUNDLED_C_STREAM_H
#define BUNDLED_C_STREAM_H

#include <errno.h>
#include <fcntl.h>
#include <limits.h>

#define EXPORTED __attribute__((visibility("default")))

// A descriptor, the caller's to close, that no program which the host starts inherits.
static inline int open_descriptor(char const* path, int flags) {
    int descriptor = -1;
    do {
        descriptor = open(path, flags | O_CLOEXEC, 0666);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor >= 0 ? descriptor : -errno;
}

// Of a count that is asked for, what one call moves: the result has to fit an int.
static inline unsigned int bounded(unsigned int count) {
    return count < INT_MAX ? count : INT_MAX;
}

// The position to which a seek leads, which may lie behind the end: -EINVAL for one before the
// start, -EOVERFLOW for one beyond counting. The size is asked for only where the seek counts
// from the end: finding it may fail, or cost much. What it fails with is passed on.
static inline long long seek_target(void* handle, long long (*size)(void*), long long position,
                                    long long offset, unsigned char origin) {
    long long base = 0;
    if (origin == 1) {
        base = position;
    } else if (origin == 2) {
        base = size(handle);
    } else if (origin != 0) {
        return -EINVAL;
    }
    if (base < 0) {
        return base;
    }
    if (offset > LLONG_MAX - base) {
        return -EOVERFLOW;
    }
    return base + offset >= 0 ? base + offset : -EINVAL;
}

#endif
