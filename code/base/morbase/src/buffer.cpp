
#include "morbase/buffer.h"

namespace morbase {

buffer::buffer(void const* bytes, unsigned long long count) {
    assign(bytes, count);
}

void buffer::assign(void const* bytes, unsigned long long count) {
    // Copy first: the bytes may be in this buffer, and a failure must not change the content.
    auto const* first = static_cast<unsigned char const*>(bytes);
    std::vector<unsigned char> copy(first, first + count);
    content.swap(copy);
}

bool operator==(buffer const& a, buffer const& b) noexcept {
    return a.content == b.content;
}

bool operator<(buffer const& a, buffer const& b) noexcept {
    return a.content < b.content;
}

}  // namespace morbase
