// A file behind plain C functions, and the reader and writer made of it.
//
// A C-style plug-in exports these functions under names of its choice. The handle
// is whatever its open function stores; it belongs to the plug-in, which gets it
// back by its close function. The strings and buffers handed to the functions
// belong to the caller and are valid during the call only. No C++ exception may
// leave a function. Results: 0 for success and negative for failure from open,
// close and flush; the count of bytes, 0 at the end and negative for failure from
// read and write; bytes from the start, negative for failure from the others.
//
// The adapters pass arguments and results on as they are, and buffer nothing. An
// adapter owns the handle that open stored, until close. It holds no reference to
// the shared object: it must go before the factory that made it. One thread at a
// time uses an adapter.
//
// Nothing is checked on the way: on a closed adapter every function but open and close
// gets a null handle, and what it answers is the plug-in's.

#ifndef KIVCORE_C_FILE_H
#define KIVCORE_C_FILE_H

#include <string>

#include <kivcore/export.h>
#include <kivcore/reader.h>
#include <kivcore/writer.h>
#include <morbase/whence.h>

namespace kivcore {

// (path, mode, where to store the handle). A failing open stores nothing: what it stores
// counts as a handle whatever it returns, and is given to close.
using c_open_function = int (*)(char const*, char const*, void**);
// (handle), which nobody uses afterwards, also when this fails
using c_close_function = int (*)(void*);
// (handle, target, count of bytes)
using c_read_function = int (*)(void*, void*, unsigned int);
// (handle, source, count of bytes)
using c_write_function = int (*)(void*, void const*, unsigned int);
// (handle)
using c_flush_function = int (*)(void*);
// (handle, offset in bytes, origin as in morbase::whence); gives the new position
using c_seek_function = long long (*)(void*, long long, unsigned char);
// (handle); gives the position
using c_get_pos_function = long long (*)(void*);
// (handle, new position from the start); gives the new position
using c_set_pos_function = long long (*)(void*, long long);
// (handle); gives the size
using c_size_function = long long (*)(void*);

// The reader made of such functions. factory_c_file_read makes these; a host that has
// functions of its own may make one itself.
class KIVCORE_API c_file_read : public reader {
  public:
    // A closed reader. seek_file may be null when both get_pos and set_pos are given: it
    // is then made of those two. The other functions are not null.
    c_file_read(c_open_function open_file, c_close_function close_file, c_read_function read_file,
                c_seek_function seek_file, c_get_pos_function get_pos, c_set_pos_function set_pos,
                c_size_function file_size);

    // Closes a handle that is still held; whatever the plug-in says to that is dropped.
    ~c_file_read() override;

    c_file_read(c_file_read const&) = delete;
    c_file_read& operator=(c_file_read const&) = delete;

    // Does not close a handle that is already held: close before opening again.
    int open(std::string const& path, std::string const& mode) override;

    // 0 when no handle is held.
    int close() override;

    // One call moves at most 2^32 - 1 bytes: a larger count is cut to its low 32 bits.
    long long read(void* buffer, unsigned long long count) override;

    // 0, with nothing called, for an unlisted origin when there is no seek function. Made
    // of the pair, a seek adds to what get_pos or size answers, a failure included, which may
    // come out as a valid position: a plug-in whose get_pos or size can fail binds seek.
    long long seek(long long offset, morbase::whence origin) override;

    // By a seek of 0 when there is a seek function, else by get_pos.
    long long tell() override;

    // The plug-in's own figure. The second form is there because a const member of the
    // same name hides a virtual one: a call means the same through every base.
    long long size() override;
    long long size() const;

  private:
    c_open_function open_function;
    c_close_function close_function;
    c_read_function read_function;
    c_seek_function seek_function;
    c_get_pos_function get_pos_function;
    c_set_pos_function set_pos_function;
    c_size_function size_function;
    void* file_handle = nullptr;
};

// The writer made of such functions.
class KIVCORE_API c_file_write : public writer {
  public:
    // A closed writer; the same rule for seek_file.
    c_file_write(c_open_function open_file, c_close_function close_file,
                 c_write_function write_file, c_flush_function flush_file,
                 c_seek_function seek_file, c_get_pos_function get_pos, c_set_pos_function set_pos,
                 c_size_function file_size);

    // Closes a handle that is still held; whatever the plug-in says to that is dropped.
    ~c_file_write() override;

    c_file_write(c_file_write const&) = delete;
    c_file_write& operator=(c_file_write const&) = delete;

    // Does not close a handle that is already held: close before opening again.
    int open(std::string const& path, std::string const& mode) override;

    // 0 when no handle is held.
    int close() override;

    // A count beyond 2^32 - 1 is cut to its low 32 bits, as in read: a larger transfer
    // takes several calls.
    int write(void const* buffer, unsigned long long count) override;
    int flush() override;

    // 0, with nothing called, for an unlisted origin when there is no seek function. Made
    // of the pair, a seek adds to what get_pos or size answers, a failure included, which may
    // come out as a valid position: a plug-in whose get_pos or size can fail binds seek.
    long long seek(long long offset, morbase::whence origin) override;

    // By get_pos when there is one, else by a seek of 0. Both forms for the reason given
    // at c_file_read::size, here and below.
    long long tell() override;
    long long tell() const;
    long long size() override;
    long long size() const;

  private:
    c_open_function open_function;
    c_close_function close_function;
    c_write_function write_function;
    c_flush_function flush_function;
    c_seek_function seek_function;
    c_get_pos_function get_pos_function;
    c_set_pos_function set_pos_function;
    c_size_function size_function;
    void* file_handle = nullptr;
};

}  // namespace kivcore

#endif
