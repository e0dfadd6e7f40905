// The functions of a C-style plug-in, for its author. This header is plain C99 and needs no other
// header; the plug-in does not link this library.
//
// A plug-in defines these functions, and its description names each in a bind element:
//
//     reader    open, close, read, size, and seek or both get_pos and set_pos
//     writer    open, close, write, flush, size, and seek or both get_pos and set_pos
//
// If the description does not name them all, the plug-in is not loaded. If the shared object lacks
// one, no object can be created. With seek, the other two are optional: set_pos is never called,
// and get_pos only for the position of a writer. Without seek, the library seeks with get_pos,
// set_pos and size.
//
// The library passes arguments and results on unchanged and does not buffer. Positions, offsets,
// counts and sizes are in bytes. Every function returns a negative number on failure; which one
// is up to the plug-in. No C++ exception may leave a function. The caller owns the strings and
// buffers, which are valid only during the call.
//
// The handle is the pointer that open stores. The plug-in owns what it points to, and releases it
// in close. If a host uses an object that is not open, every function except open and close gets
// a null handle. A handle is used by one thread at a time, but not always by the same one.
// Several handles may be used at once: lock what they share.

#ifndef KIVCORE_C_FILE_API_H
#define KIVCORE_C_FILE_API_H

#ifdef __cplusplus
extern "C" {
#endif

// NOLINTBEGIN(modernize-use-using): C does not have using

// Opens the file and stores a handle, which must not be null. Returns 0 on success. On failure it
// must not store a handle: any handle but null is used and passed to close, whatever this returns.
// Path and mode are never null. Which modes there are is up to the plug-in; "r" and "w" are usual.
// *handle is null before the call, unless the host opens an object again without closing it: a new
// handle then replaces the old one, which the library never closes.
typedef int kivcore_c_file_open(char const* path, char const* mode, void** handle);

// Closes the file and releases the handle, which is not used again even if this fails. Returns 0
// on success. Also called when the host releases an open object; the result is then ignored.
typedef int kivcore_c_file_close(void* handle);

// Reads at most count bytes at the position into target and advances by as many. Returns the
// number of bytes read. Only 0 means the end. The result is an int, and count may exceed its range:
// then read less.
typedef int kivcore_c_file_read(void* handle, void* target, unsigned int count);

// Writes at most count bytes from source at the position and advances by as many. Returns the
// number of bytes written. If count exceeds the range of int, write less.
typedef int kivcore_c_file_write(void* handle, void const* source, unsigned int count);

// Writes out everything that the plug-in has buffered. Returns 0 on success.
typedef int kivcore_c_file_flush(void* handle);

// Moves the position to offset, counted from an origin: 0 is the start, 1 the current position, 2
// the end, like SEEK_SET, SEEK_CUR and SEEK_END. The origin may be any other number: refuse it.
// Returns the new position, counted from the start.
typedef long long kivcore_c_file_seek(void* handle, long long offset, unsigned char origin);

// Returns the position, counted from the start. Without seek, an offset is added even to a negative
// result of get_pos or size, and the sum is passed to set_pos: if one of them can fail, bind seek.
typedef long long kivcore_c_file_get_pos(void* handle);

// Moves to a position, counted from the start, which may be negative: refuse it. Returns the new
// position.
typedef long long kivcore_c_file_set_pos(void* handle, long long position);

// Returns the size of the whole file. The position does not change.
typedef long long kivcore_c_file_size(void* handle);

// NOLINTEND(modernize-use-using)

#ifdef __cplusplus
}
#endif

// Exports a function with C linkage, also if the compiler hides others. For functions whose names
// KIVCORE_C_FILE does not make:
//
//     KIVCORE_C_FILE_EXPORT kivcore_c_file_open upper_open_quickly;
#ifdef __cplusplus
#define KIVCORE_C_FILE_EXPORT extern "C" __attribute__((visibility("default")))
#else
#define KIVCORE_C_FILE_EXPORT __attribute__((visibility("default")))
#endif

// Declares and exports prefix_open, prefix_close and so on, all nine of them. Define those that
// your description names. If one has another type, the compiler reports an error at its definition:
//
//     KIVCORE_C_FILE(upper);
//
//     int upper_close(void* handle) { return fclose(handle) == 0 ? 0 : -1; }
//
// In C++, put the definitions inside extern "C". Otherwise a function of another type is an
// overload, which compiles and is not exported.
//
// This is a macro because only the preprocessor can make names.
// NOLINTNEXTLINE(cppcoreguidelines-macro-usage)
#define KIVCORE_C_FILE(prefix)                                     \
    KIVCORE_C_FILE_EXPORT kivcore_c_file_open prefix##_open;       \
    KIVCORE_C_FILE_EXPORT kivcore_c_file_close prefix##_close;     \
    KIVCORE_C_FILE_EXPORT kivcore_c_file_read prefix##_read;       \
    KIVCORE_C_FILE_EXPORT kivcore_c_file_write prefix##_write;     \
    KIVCORE_C_FILE_EXPORT kivcore_c_file_flush prefix##_flush;     \
    KIVCORE_C_FILE_EXPORT kivcore_c_file_seek prefix##_seek;       \
    KIVCORE_C_FILE_EXPORT kivcore_c_file_get_pos prefix##_get_pos; \
    KIVCORE_C_FILE_EXPORT kivcore_c_file_set_pos prefix##_set_pos; \
    KIVCORE_C_FILE_EXPORT kivcore_c_file_size prefix##_size

#endif
