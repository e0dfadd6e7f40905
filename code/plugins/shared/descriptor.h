// The owner of a file descriptor, for whoever uses the system's calls directly.

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

    // Swaps: what was held is closed with the other, at once when that is a temporary.
    descriptor& operator=(descriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }

    ~descriptor() {
        if (is_open()) {
            ::close(number);  // where a failure matters, the owner has released and closed it
        }
    }

    descriptor(descriptor const&) = delete;
    descriptor& operator=(descriptor const&) = delete;

    // Hands the number over to the caller, who closes it.
    int release() noexcept { return std::exchange(number, -1); }

    int get() const noexcept { return number; }
    bool is_open() const noexcept { return number >= 0; }

  private:
    int number;
};

// Opens a file to read, without waiting for the writer of a FIFO. Holds the negative errno value
// when that fails. A relative path counts from the directory.
inline descriptor open_for_reading(char const* path, int directory = AT_FDCWD) {
    return descriptor(open_descriptor(directory, path, O_RDONLY | O_NONBLOCK));
}

// Reads at most count bytes at an offset: how many, 0 at the end, or a negative errno value.
inline ssize_t read_at(int opened, void* buffer, std::size_t count, long long offset) {
    ssize_t got = -1;
    do {
        got = pread(opened, buffer, count, offset);
    } while (got < 0 && errno == EINTR);
    return got >= 0 ? got : -errno;
}

}  // namespace bundled

#endif
