// Plain files, through the C functions of a reader and a writer.
//
// A handle keeps its own position and transfers with pread and pwrite. Two kinds of handle cannot
// do this: pipes and terminals have no positions, and a file opened for appending is always
// written at its current end. These handles are sequential: they transfer at the system's
// position, and can only seek to the position where they are.
//
// Failures are negative errno values. A transfer that fails half-way returns the number of bytes
// moved; the next one reports the failure. Nothing is buffered.
//
// A read from a file or a block device waits for all requested bytes. A read from anything else,
// for example a pipe, returns as soon as it has some: more may take long to arrive, or may arrive
// only after the host has answered.

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <kivcore/c_file_api.h>

#include "shared/stream.h"

KIVCORE_C_FILE(file);  // all functions but open, because a reader and a writer share them
KIVCORE_C_FILE_EXPORT kivcore_c_file_open file_open_reader;
KIVCORE_C_FILE_EXPORT kivcore_c_file_open file_open_writer;

// What a handle points to. Not locked: use a handle from one thread at a time.
struct file {
    int descriptor;
    bool sequential;
    bool is_live;        // neither a regular file nor a block device
    long long position;  // of the next transfer; also kept up to date for sequential handles
};

struct mode {
    char const* name;
    int flags;
};

static struct mode const k_read_modes[] = {{"r", O_RDONLY}, {"rb", O_RDONLY}};

// The writing modes of fopen, but without reading. Only "r+" overwrites existing content in
// place.
static struct mode const k_write_modes[] = {
    {"w", O_WRONLY | O_CREAT | O_TRUNC},
    {"wb", O_WRONLY | O_CREAT | O_TRUNC},
    {"a", O_WRONLY | O_CREAT | O_APPEND},
    {"ab", O_WRONLY | O_CREAT | O_APPEND},
    {"r+", O_WRONLY},
    {"r+b", O_WRONLY},
    {"rb+", O_WRONLY},
};

// The flags of a mode, or -EINVAL.
static int flags_of(char const* name, struct mode const* modes, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (strcmp(name, modes[i].name) == 0) {
            return modes[i].flags;
        }
    }
    return -EINVAL;
}

// Opening a directory for reading would succeed, but every read would fail, so refuse it now.
static int refuse_directory(int descriptor, struct stat* status) {
    if (fstat(descriptor, status) != 0) {
        return -errno;
    }
    return S_ISDIR(status->st_mode) ? -EISDIR : 0;
}

// Leaves *handle unchanged on failure. A sequential file without a position starts at 0.
static int open_file(char const* path, int flags, void** handle) {
    int const descriptor = open_descriptor(AT_FDCWD, path, flags);
    if (descriptor < 0) {
        return descriptor;
    }
    struct stat status;
    int const refused = refuse_directory(descriptor, &status);
    struct file* file = refused == 0 ? malloc(sizeof *file) : NULL;
    if (file == NULL) {
        close(descriptor);
        return refused != 0 ? refused : -ENOMEM;
    }
    bool const appending = (flags & O_APPEND) != 0;
    off_t const start = lseek(descriptor, 0, appending ? SEEK_END : SEEK_CUR);
    file->descriptor = descriptor;
    file->sequential = appending || start < 0;
    file->is_live = !S_ISREG(status.st_mode) && !S_ISBLK(status.st_mode);
    file->position = start < 0 ? 0 : start;
    *handle = file;
    return 0;
}

// One system call: reads at most count bytes, possibly fewer; 0 at the end.
static ssize_t read_some(struct file const* file, char* target, size_t count) {
    ssize_t moved = 0;
    do {
        moved = file->sequential ? read(file->descriptor, target, count)
                                 : pread(file->descriptor, target, count, file->position);
    } while (moved < 0 && errno == EINTR);
    return moved >= 0 ? moved : -errno;
}

static ssize_t write_some(struct file const* file, char const* source, size_t count) {
    ssize_t moved = 0;
    do {
        moved = file->sequential ? write(file->descriptor, source, count)
                                 : pwrite(file->descriptor, source, count, file->position);
    } while (moved < 0 && errno == EINTR);
    return moved >= 0 ? moved : -errno;
}

int file_open_reader(char const* path, char const* mode, void** handle) {
    int const flags = flags_of(mode, k_read_modes, sizeof k_read_modes / sizeof *k_read_modes);
    return flags < 0 ? flags : open_file(path, flags, handle);
}

int file_open_writer(char const* path, char const* mode, void** handle) {
    int const flags = flags_of(mode, k_write_modes, sizeof k_write_modes / sizeof *k_write_modes);
    return flags < 0 ? flags : open_file(path, flags, handle);
}

int file_close(void* handle) {
    struct file* file = handle;
    if (file == NULL) {
        return -EBADF;
    }
    int const failure = close(file->descriptor) == 0 ? 0 : errno;
    free(file);
    // An interrupted close has closed the descriptor. Retrying might close another thread's file.
    return failure == EINTR ? 0 : -failure;
}

int file_read(void* handle, void* target, unsigned int count) {
    struct file* file = handle;
    if (file == NULL) {
        return -EBADF;
    }
    // The system would refuse a count that exceeds the largest position.
    long long const ahead = LLONG_MAX - file->position;
    size_t const wanted = ahead < (long long)bounded(count) ? (size_t)ahead : bounded(count);
    size_t done = 0;
    ssize_t moved = 0;
    while (done < wanted && (moved = read_some(file, (char*)target + done, wanted - done)) > 0) {
        done += (size_t)moved;
        file->position += moved;
        if (file->is_live) {
            break;
        }
    }
    return done > 0 || moved == 0 ? (int)done : (int)moved;
}

int file_write(void* handle, void const* source, unsigned int count) {
    struct file* file = handle;
    if (file == NULL) {
        return -EBADF;
    }
    size_t const wanted = bounded(count);
    size_t done = 0;
    ssize_t moved = 0;
    while (done < wanted &&
           (moved = write_some(file, (char const*)source + done, wanted - done)) > 0) {
        done += (size_t)moved;
        file->position += moved;
    }
    // Others may append too, so ask the system for the position.
    off_t const end = file->sequential ? lseek(file->descriptor, 0, SEEK_CUR) : -1;
    file->position = end >= 0 ? end : file->position;
    return done > 0 || moved == 0 ? (int)done : (int)moved;
}

// Nothing to do: the system already has the data. There is no promise about the disk, because
// syncing would make frequent flushes slow.
int file_flush(void* handle) {
    return handle != NULL ? 0 : -EBADF;
}

long long file_size(void* handle) {
    struct file const* file = handle;
    struct stat status;
    if (file == NULL) {
        return -EBADF;
    }
    if (fstat(file->descriptor, &status) != 0) {
        return -errno;
    }
    if (S_ISREG(status.st_mode)) {
        return status.st_size;
    }
    if (!S_ISBLK(status.st_mode)) {
        return -ESPIPE;
    }
    // stat does not report the size of a device. Moving the system's position is harmless: only
    // appending uses it, and moves it to the end itself.
    off_t const end = lseek(file->descriptor, 0, SEEK_END);
    return end >= 0 ? end : -errno;
}

long long file_seek(void* handle, long long offset, unsigned char origin) {
    struct file* file = handle;
    if (file == NULL) {
        return -EBADF;
    }
    long long const target = seek_target(file, file_size, file->position, offset, origin);
    if (target < 0) {
        return target;
    }
    if (file->sequential && target != file->position) {
        return -ESPIPE;
    }
    file->position = target;
    return target;
}
