// One file in memory, shared by all handles: what a writer wrote, a reader reads. It
// lives as long as this shared object does.

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#define EXPORTED __attribute__((visibility("default")))

enum { k_capacity = 256 };

static char content[k_capacity];
static long long content_size = 0;

struct handle {
    long long position;
};

// Threads may be cancelled here, and when this shared object is opened and closed.
__attribute__((constructor, destructor)) static void cancellation_point(void) {
    pthread_testcancel();
}

// The mode "w" empties the file; the path "refused" cannot be opened.
EXPORTED int memory_open(char const* path, char const* mode, void** opened) {
    struct handle* handle = strcmp(path, "refused") == 0 ? NULL : calloc(1, sizeof *handle);
    if (handle == NULL) {
        return -1;
    }
    if (*mode == 'w') {
        content_size = 0;
    }
    *opened = handle;
    return 0;
}

EXPORTED int memory_close(void* handle) {
    cancellation_point();
    free(handle);
    return 0;
}

EXPORTED int memory_read(void* opened, void* target, unsigned int count) {
    struct handle* handle = opened;
    long long const left = content_size - handle->position;
    long long const moved = left <= 0 ? 0 : (long long)count < left ? (long long)count : left;
    memcpy(target, content + handle->position, (size_t)moved);
    handle->position += moved;
    return (int)moved;
}

EXPORTED int memory_write(void* opened, void const* source, unsigned int count) {
    struct handle* handle = opened;
    if (count > k_capacity - handle->position) {
        return -1;
    }
    memcpy(content + handle->position, source, count);
    handle->position += (long long)count;
    content_size = handle->position > content_size ? handle->position : content_size;
    return (int)count;
}

EXPORTED int memory_flush(void* handle) {
    return handle != NULL ? 0 : -1;
}

EXPORTED long long memory_size(void* handle) {
    return handle != NULL ? content_size : -1;
}

EXPORTED long long memory_get_pos(void* opened) {
    struct handle const* handle = opened;
    return handle->position;
}

EXPORTED long long memory_set_pos(void* opened, long long position) {
    struct handle* handle = opened;
    if (position < 0 || position > content_size) {
        return -1;
    }
    return handle->position = position;
}

EXPORTED long long memory_seek(void* opened, long long offset, unsigned char origin) {
    struct handle const* handle = opened;
    long long const bases[] = {0, handle->position, content_size};
    return origin < 3 ? memory_set_pos(opened, bases[origin] + offset) : -1;
}
