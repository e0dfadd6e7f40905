#include <stdio.h>

#define EXPORTED __attribute__((visibility("default")))

EXPORTED int sound_open(char const* path, char const* mode, void** handle) {
    (void)mode;
    *handle = fopen(path, "rb");
    return *handle != NULL ? 0 : -1;
}

EXPORTED int sound_close(void* handle) {
    return fclose(handle) == 0 ? 0 : -1;
}

EXPORTED int sound_read(void* handle, void* target, unsigned int count) {
    unsigned int const limit = count < 65536 ? count : 65536;
    int const got = (int)fread(target, 1, limit, handle);
    return got > 0 || !ferror((FILE*)handle) ? got : -1;
}

EXPORTED long long sound_seek(void* handle, long long offset, unsigned char origin) {
    return fseek(handle, (long)offset, origin) == 0 ? ftell(handle) : -1;
}

EXPORTED long long sound_size(void* handle) {
    long const here = ftell(handle);
    long long const size = sound_seek(handle, 0, SEEK_END);
    return here >= 0 && fseek(handle, here, SEEK_SET) == 0 ? size : -1;
}
