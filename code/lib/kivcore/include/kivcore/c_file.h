// The reader and the writer that adapt the C functions of a C-style plug-in. <kivcore/c_file_api.h>
// has the contract of these functions.
//
// The adapters pass arguments and results through unchanged, and do not buffer. An adapter owns
// the handle that open stored, until close. It holds no reference to the shared object, so
// release it before the factory that created it. Use an adapter from one thread at a time.
//
// The adapters check nothing. On a closed adapter, every function except open and close is called
// with a null handle, and the result is up to the plug-in.

#ifndef KIVCORE_C_FILE_H
#define KIVCORE_C_FILE_H

#include <string>

#include <kivcore/c_file_api.h>
#include <kivcore/export.h>
#include <kivcore/reader.h>
#include <kivcore/writer.h>
#include <morbase/whence.h>

namespace kivcore {

// Pointers to the functions of a C-style plug-in.
using c_open_function = kivcore_c_file_open*;
using c_close_function = kivcore_c_file_close*;
using c_read_function = kivcore_c_file_read*;
using c_write_function = kivcore_c_file_write*;
using c_flush_function = kivcore_c_file_flush*;
using c_seek_function = kivcore_c_file_seek*;
using c_get_pos_function = kivcore_c_file_get_pos*;
using c_set_pos_function = kivcore_c_file_set_pos*;
using c_size_function = kivcore_c_file_size*;

// The reader that adapts such functions. factory_c_file_read creates these; a host may create one
// from its own functions.
class KIVCORE_API c_file_read : public reader {
  public:
    // A closed reader. seek_file may be null if both get_pos and set_pos are given; seek then
    // uses these two. With seek_file, get_pos and set_pos may be null. The other functions must
    // not be null.
    c_file_read(c_open_function open_file, c_close_function close_file, c_read_function read_file,
                c_seek_function seek_file, c_get_pos_function get_pos, c_set_pos_function set_pos,
                c_size_function file_size);

    // Closes a handle that is still held, and ignores a failure.
    ~c_file_read() override;

    c_file_read(c_file_read const&) = delete;
    c_file_read& operator=(c_file_read const&) = delete;

    // Does not close a handle that is still held: call close before you open again.
    int open(std::string const& path, std::string const& mode) override;

    // Returns 0 if no handle is held.
    int close() override;

    // A count above 2^32 - 1 is truncated to its low 32 bits.
    long long read(void* buffer, unsigned long long count) override;

    // Without a seek function, adds offset to the result of get_pos or size, and passes the sum
    // to set_pos. If get_pos or size fails, its negative result is added too, which may give a
    // valid position: a plug-in whose get_pos or size can fail should bind seek. For an
    // unlisted origin, it then calls nothing and returns 0.
    long long seek(long long offset, morbase::whence origin) override;

    // Calls seek with offset 0 if there is a seek function, otherwise get_pos.
    long long tell() override;

    // The size that the plug-in reports. A const member alone would hide the virtual one of the
    // base; with both forms, a call does the same through every base class.
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

// The writer that adapts such functions.
class KIVCORE_API c_file_write : public writer {
  public:
    // A closed writer. The rules for null are those of c_file_read.
    c_file_write(c_open_function open_file, c_close_function close_file,
                 c_write_function write_file, c_flush_function flush_file,
                 c_seek_function seek_file, c_get_pos_function get_pos, c_set_pos_function set_pos,
                 c_size_function file_size);

    // Closes a handle that is still held, and ignores a failure.
    ~c_file_write() override;

    c_file_write(c_file_write const&) = delete;
    c_file_write& operator=(c_file_write const&) = delete;

    // Does not close a handle that is still held: call close before you open again.
    int open(std::string const& path, std::string const& mode) override;

    // Returns 0 if no handle is held.
    int close() override;

    // A count above 2^32 - 1 is truncated to its low 32 bits. Use several calls for a larger
    // transfer.
    int write(void const* buffer, unsigned long long count) override;
    int flush() override;

    // Without a seek function, adds offset to the result of get_pos or size, and passes the sum
    // to set_pos. If get_pos or size fails, its negative result is added too, which may give a
    // valid position: a plug-in whose get_pos or size can fail should bind seek. For an
    // unlisted origin, it then calls nothing and returns 0.
    long long seek(long long offset, morbase::whence origin) override;

    // Calls get_pos if there is one, otherwise seek with offset 0. For the const forms see
    // c_file_read::size.
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
