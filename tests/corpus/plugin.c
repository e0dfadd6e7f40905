/* The shared object of cases whose mistake is in the description: an empty file to read. */

#define EXPORTED __attribute__((visibility("default")))

static int file;

EXPORTED int case_open(char const* path, char const* mode, void** handle) {
    (void)path;
    (void)mode;
    *handle = &file;
    return 0;
}

EXPORTED int case_close(void* handle) {
    (void)handle;
    return 0;
}

EXPORTED int case_read(void* handle, void* target, unsigned int count) {
    (void)handle;
    (void)target;
    (void)count;
    return 0;
}

EXPORTED long long case_seek(void* handle, long long offset, unsigned char origin) {
    (void)handle;
    (void)offset;
    (void)origin;
    return 0;
}

EXPORTED long long case_size(void* handle) {
    (void)handle;
    return 0;
}
