// A value that holds bytes. It owns a copy of them. Not locked: one thread at a
// time, or any number that only read.

#ifndef MORBASE_BUFFER_H
#define MORBASE_BUFFER_H

#include <vector>

#include <morbase/export.h>

namespace morbase {

class MORBASE_API buffer {
  public:
    buffer() = default;

    // Copies count bytes, which stay the caller's. bytes may be null when count is 0.
    // Raises std::bad_alloc, or std::length_error for a count that no memory can hold.
    buffer(void const* bytes, unsigned long long count);

    // Replaces the content by a copy of count bytes, which may lie in this very
    // buffer. Raises as above, and the content is then unchanged.
    void assign(void const* bytes, unsigned long long count);

    // The bytes, owned by the buffer and valid until it changes or goes; may be null when
    // there are none.
    unsigned char const* data() const noexcept { return content.data(); }

    // How many bytes it holds.
    unsigned long long size() const noexcept { return content.size(); }

    // Equal when they hold the same bytes, wherever these lie.
    friend MORBASE_API bool operator==(buffer const& a, buffer const& b) noexcept;

    friend bool operator!=(buffer const& a, buffer const& b) noexcept { return !(a == b); }

    // Compares unsigned bytes; of two that agree as far as both go the shorter is less.
    friend MORBASE_API bool operator<(buffer const& a, buffer const& b) noexcept;

  private:
    std::vector<unsigned char> content;
};

}  // namespace morbase

#endif
