// What the plug-ins in C and in C++ share: opening a descriptor, the bound of one transfer, and
// where a seek leads. Failures are negative errno values.

#ifndef BUNDLED_STREAM_H
#define BUNDLED_STREAM_H

// NOLINTBEGIN(modernize-deprecated-headers): C has no others
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
// NOLINTEND(modernize-deprecated-headers)

#define EXPORTED __attribute__((visibility("default")))

// A descriptor, owned by the caller, that no program which the host starts inherits. A relative
// path counts from the directory, which may be AT_FDCWD.
static inline int open_descriptor(int directory, char const* path, int flags) {
    int descriptor = -1;
    do {
        descriptor = openat(directory, path, flags | O_CLOEXEC, 0666);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor >= 0 ? descriptor : -errno;
}

// How much of a count one call moves: the result has to fit an int.
static inline unsigned int bounded(unsigned int count) {
    return count < INT_MAX ? count : INT_MAX;
}

// The position to which a seek leads, which may be after the end: -EINVAL for one before the
// start or an unknown origin, -EOVERFLOW for one beyond counting. The size is asked for only where
// the seek counts from the end: finding it may fail, or cost much. What it fails with is passed on.
static inline long long seek_target(void* handle, long long (*size)(void*), long long position,
                                    long long offset, int origin) {
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
