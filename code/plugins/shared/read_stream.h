// What the readers that are written in C++ agree on: how they refuse to open, and where a
// seek leads in a stream whose size is known. Failures are negative errno values.

#ifndef BUNDLED_READ_STREAM_H
#define BUNDLED_READ_STREAM_H

#include <cerrno>
#include <string>

#include <morbase/whence.h>

namespace bundled {

// 0 when a reader may go on to open. -EBUSY when it has something open, which then stays
// so; -EINVAL for a mode other than "r" and "rb".
inline int refuse_open(bool is_open, std::string const& mode) {
    if (is_open) {
        return -EBUSY;
    }
    return mode == "r" || mode == "rb" ? 0 : -EINVAL;
}

// The position, from 0 to end, to which a seek leads; -EINVAL when that lies outside. Neither
// position nor end is negative, so no offset, however hostile, overflows a difference here.
inline long long seek_target_inside(long long position, long long end, long long offset,
                                    morbase::whence origin) {
    long long base = 0;
    if (origin == morbase::from_current) {
        base = position;
    } else if (origin == morbase::from_end) {
        base = end;
    } else if (origin != morbase::from_start) {
        return -EINVAL;
    }
    return offset < -base || offset > end - base ? -EINVAL : base + offset;
}

}  // namespace bundled

#endif
