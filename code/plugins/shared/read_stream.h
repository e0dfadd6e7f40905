// What the readers in C++ share: when they refuse to open, and the target of a seek. Failures are
// negative errno values.

#ifndef BUNDLED_READ_STREAM_H
#define BUNDLED_READ_STREAM_H

#include <cerrno>
#include <string>

#include <kivcore/reader.h>

#include "stream.h"

namespace bundled {

// Returns 0 if a reader may open. Returns -EBUSY if it has something open, which stays open, and
// -EINVAL for a mode other than "r" and "rb".
inline int refuse_open(bool is_open, std::string const& mode) {
    if (is_open) {
        return -EBUSY;
    }
    return mode == "r" || mode == "rb" ? 0 : -EINVAL;
}

// seek_target of stream.h for an open reader, which knows its position.
inline long long seek_target(kivcore::reader& file, long long offset, morbase::whence origin) {
    auto const size = [](void* asked) { return static_cast<kivcore::reader*>(asked)->size(); };
    return ::seek_target(&file, size, file.tell(), offset, origin);
}

}  // namespace bundled

#endif
