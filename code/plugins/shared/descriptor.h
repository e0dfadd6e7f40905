// The owner of a file descriptor, for code that uses system calls directly.

#ifndef BUNDLED_DESCRIPTOR_H
#define BUNDLED_DESCRIPTOR_H

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <utility>

#include "stream.h"

namespace bundled {

// Holds an open descriptor, or a negative number for none, for example the negative errno value of
// an open that failed.
class descriptor {
  public:
    explicit descriptor(int opened = -1) noexcept : number(opened) {}
    descriptor(descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}

    // Swaps. The old descriptor is closed when other is destroyed: at once if other is a
    // temporary.
    descriptor& operator=(descriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }

    ~descriptor() {
        if (is_open()) {
            ::close(number);  // an owner that needs the result releases and closes it itself
        }
    }

    descriptor(descriptor const&) = delete;
    descriptor& operator=(descriptor const&) = delete;

    // Transfers ownership to the caller, who must close the descriptor.
    int release() noexcept { return std::exchange(number, -1); }

    int get() const noexcept { return number; }
    bool is_open() const noexcept { return number >= 0; }

  private:
    int number;
};

// Opens a file for reading, without waiting for the writer of a FIFO. On failure the result holds
// the negative errno value. A relative path is relative to the directory.
inline descriptor open_for_reading(char const* path, int directory = AT_FDCWD) {
    return descriptor(open_descriptor(directory, path, O_RDONLY | O_NONBLOCK));
}

// Reads at most count bytes at an offset. Returns the number of bytes read, 0 at the end, or a
// negative errno value.
inline ssize_t read_at(int opened, void* buffer, std::size_t count, long long offset) {
    ssize_t got = -1;
    do {
        got = pread(opened, buffer, count, offset);
    } while (got < 0 && errno == EINTR);
    return got >= 0 ? got : -errno;
}

}  // namespace bundled

#endif
