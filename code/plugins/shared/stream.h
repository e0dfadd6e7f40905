// What the plug-ins in C and in C++ share: opening a descriptor, the limit of one transfer, and
// the target of a seek. Failures are negative errno values.

#ifndef BUNDLED_STREAM_H
#define BUNDLED_STREAM_H

// NOLINTBEGIN(modernize-deprecated-headers): C does not have the others
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
// NOLINTEND(modernize-deprecated-headers)

#define EXPORTED __attribute__((visibility("default")))

// Opens a descriptor, owned by the caller. Programs that the host starts do not inherit it. A
// relative path is relative to the directory, which may be AT_FDCWD.
static inline int open_descriptor(int directory, char const* path, int flags) {
    int descriptor = -1;
    do {
        descriptor = openat(directory, path, flags | O_CLOEXEC, 0666);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor >= 0 ? descriptor : -errno;
}

// Limits the count of one call, because its result must fit an int.
static inline unsigned int bounded(unsigned int count) {
    return count < INT_MAX ? count : INT_MAX;
}

// The target position of a seek, which may be after the end. -EINVAL for a target before the
// start or an unknown origin, -EOVERFLOW for a target that does not fit. Calls size only if the
// offset is from the end, because finding the size may be slow or fail; then its failure is
// returned.
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
