// The owners of a file descriptor and of a directory that is listed, for the plug-ins that use
// the system's calls directly.

#ifndef BUNDLED_DESCRIPTOR_H
#define BUNDLED_DESCRIPTOR_H

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <utility>

namespace bundled {

// Holds an open descriptor, or a negative number for none: what an open that failed gave, a
// negative errno value for one, may be kept here and asked for with get().
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
            ::close(number);  // nothing was written through it: a failure loses nothing
        }
    }

    descriptor(descriptor const&) = delete;
    descriptor& operator=(descriptor const&) = delete;

    int get() const noexcept { return number; }
    bool is_open() const noexcept { return number >= 0; }

  private:
    int number;
};

// Opens a file to read, without waiting for the writer of a FIFO. What is held is the
// negative errno value when that fails.
inline descriptor open_for_reading(char const* path) {
    int opened = -1;
    do {
        opened = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    } while (opened < 0 && errno == EINTR);
    return descriptor(opened >= 0 ? opened : -errno);
}

struct close_directory {
    void operator()(DIR* opened) const noexcept { closedir(opened); }
};
using directory_handle = std::unique_ptr<DIR, close_directory>;

}  // namespace bundled

#endif
