#include "kivcore/c_file.h"

#include <utility>

#include "cancellation.h"

namespace kivcore {

namespace {

// Wraps around if a hostile offset would overflow.
long long sum(long long position, long long offset) {
    return static_cast<long long>(static_cast<unsigned long long>(position) +
                                  static_cast<unsigned long long>(offset));
}

unsigned int low_32_bits(unsigned long long count) {
    return static_cast<unsigned int>(count & 0xffffffffU);
}

int close_handle(c_close_function close, void*& handle) {
    if (handle == nullptr) {
        return 0;
    }
    // Clear the handle before the call: if close fails or throws, it must not get the handle
    // again.
    return close(std::exchange(handle, nullptr));
}

void close_handle_at_the_end(c_close_function close, void*& handle) noexcept {
    cancellation_put_off const until_done;
    try {
        close_handle(close, handle);
    } catch (...) {
        // A plug-in that throws from a C function breaks its contract, but that must not
        // terminate a host that only destroys an adapter.
    }
}

// A seek with the position pair, for plug-ins without a seek function. Calls nothing if the
// origin is not one of the three.
long long seek_with_pair(void* handle, long long offset, morbase::whence origin,
                         c_get_pos_function get_pos, c_set_pos_function set_pos,
                         c_size_function size) {
    switch (origin) {
        case morbase::from_start:
            return set_pos(handle, offset);
        case morbase::from_current:
            return set_pos(handle, sum(get_pos(handle), offset));
        case morbase::from_end:
            return set_pos(handle, sum(size(handle), offset));
    }
    return 0;
}

// The C function takes the origin as a byte. The plug-in gets the low eight bits of an unlisted
// origin; the cast through unsigned makes that well defined.
unsigned char seek_origin(morbase::whence origin) {
    return static_cast<unsigned char>(static_cast<unsigned int>(origin) & 0xffU);
}

}  // namespace

c_file_read::c_file_read(c_open_function open_file, c_close_function close_file,
                         c_read_function read_file, c_seek_function seek_file,
                         c_get_pos_function get_pos, c_set_pos_function set_pos,
                         c_size_function file_size)
    : open_function(open_file),
      close_function(close_file),
      read_function(read_file),
      seek_function(seek_file),
      get_pos_function(get_pos),
      set_pos_function(set_pos),
      size_function(file_size) {}

c_file_read::~c_file_read() {
    close_handle_at_the_end(close_function, file_handle);
}

int c_file_read::open(std::string const& path, std::string const& mode) {
    return open_function(path.c_str(), mode.c_str(), &file_handle);
}

int c_file_read::close() {
    return close_handle(close_function, file_handle);
}

long long c_file_read::read(void* buffer, unsigned long long count) {
    return read_function(file_handle, buffer, low_32_bits(count));
}

long long c_file_read::seek(long long offset, morbase::whence origin) {
    if (seek_function != nullptr) {
        return seek_function(file_handle, offset, seek_origin(origin));
    }
    return seek_with_pair(file_handle, offset, origin, get_pos_function, set_pos_function,
                          size_function);
}

long long c_file_read::tell() {
    if (seek_function != nullptr) {
        return seek_function(file_handle, 0, seek_origin(morbase::from_current));
    }
    return get_pos_function(file_handle);
}

long long c_file_read::size() {
    return std::as_const(*this).size();
}

long long c_file_read::size() const {
    return size_function(file_handle);
}

c_file_write::c_file_write(c_open_function open_file, c_close_function close_file,
                           c_write_function write_file, c_flush_function flush_file,
                           c_seek_function seek_file, c_get_pos_function get_pos,
                           c_set_pos_function set_pos, c_size_function file_size)
    : open_function(open_file),
      close_function(close_file),
      write_function(write_file),
      flush_function(flush_file),
      seek_function(seek_file),
      get_pos_function(get_pos),
      set_pos_function(set_pos),
      size_function(file_size) {}

c_file_write::~c_file_write() {
    close_handle_at_the_end(close_function, file_handle);
}

int c_file_write::open(std::string const& path, std::string const& mode) {
    return open_function(path.c_str(), mode.c_str(), &file_handle);
}

int c_file_write::close() {
    return close_handle(close_function, file_handle);
}

int c_file_write::write(void const* buffer, unsigned long long count) {
    return write_function(file_handle, buffer, low_32_bits(count));
}

int c_file_write::flush() {
    return flush_function(file_handle);
}

long long c_file_write::seek(long long offset, morbase::whence origin) {
    if (seek_function != nullptr) {
        return seek_function(file_handle, offset, seek_origin(origin));
    }
    return seek_with_pair(file_handle, offset, origin, get_pos_function, set_pos_function,
                          size_function);
}

long long c_file_write::tell() {
    return std::as_const(*this).tell();
}

long long c_file_write::tell() const {
    if (get_pos_function != nullptr) {
        return get_pos_function(file_handle);
    }
    return seek_function(file_handle, 0, seek_origin(morbase::from_current));
}

long long c_file_write::size() {
    return std::as_const(*this).size();
}

long long c_file_write::size() const {
    return size_function(file_handle);
}

}  // namespace kivcore
