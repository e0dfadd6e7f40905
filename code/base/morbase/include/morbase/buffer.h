// A value that owns a copy of some bytes. Not locked: use it from one thread at a time, or from
// any number that only read.

#ifndef MORBASE_BUFFER_H
#define MORBASE_BUFFER_H

#include <vector>

#include <morbase/export.h>

namespace morbase {

class MORBASE_API buffer {
  public:
    buffer() = default;

    // Copies count bytes; the caller keeps its own. bytes may be null if count is 0. Raises
    // std::bad_alloc, or std::length_error for a count that exceeds the address space.
    buffer(void const* bytes, unsigned long long count);

    // Replaces the content by a copy of count bytes, which may be in this buffer. Raises as
    // above; then the content is unchanged.
    void assign(void const* bytes, unsigned long long count);

    // The bytes, owned by the buffer and valid until it is changed or destroyed; may be null if
    // there are none.
    unsigned char const* data() const noexcept { return content.data(); }

    // The number of bytes.
    unsigned long long size() const noexcept { return content.size(); }

    // Equal if they hold the same bytes.
    friend MORBASE_API bool operator==(buffer const& a, buffer const& b) noexcept;
    friend bool operator!=(buffer const& a, buffer const& b) noexcept { return !(a == b); }

    // Compares unsigned bytes. If one buffer is a prefix of the other, the shorter is less.
    friend MORBASE_API bool operator<(buffer const& a, buffer const& b) noexcept;

  private:
    std::vector<unsigned char> content;
};

}  // namespace morbase

#endif
