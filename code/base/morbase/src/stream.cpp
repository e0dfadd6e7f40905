#include "morbase/stream.h"

namespace morbase::stream {

namespace {

// Returns the result of `visit`, and restores the position even if `visit` fails or throws. If
// the position cannot be restored, reports that instead: callers rely on the position.
template <typename stream, typename operation>
long long position_restored_after(stream& visited, operation const& visit) {
    long long const position = visited.tell();
    if (position < 0) {
        return -1;
    }
    long long result = 0;
    try {
        result = visit();
    } catch (...) {
        visited.seek(position, from_start);
        throw;
    }
    return visited.seek(position, from_start) < 0 ? -1 : result;
}

// Finds the size of a seekable stream by seeking to its end.
template <typename stream>
long long size_by_seeking(stream& visited) {
    return position_restored_after(visited, [&] { return visited.seek(0, from_end); });
}

}  // namespace

rd::~rd() = default;

long long rd::tell() {
    return -1;
}

long long rd::peek(void* /*buffer*/, unsigned long long /*count*/) {
    return -1;
}

rda::~rda() = default;

long long rda::tell() {
    return seek(0, from_current);
}

long long rda::peek(void* buffer, unsigned long long count) {
    return position_restored_after(*this, [&] { return read(buffer, count); });
}

long long rda::size() {
    return size_by_seeking(*this);
}

wr::~wr() = default;

long long wr::tell() {
    return -1;
}

wra::~wra() = default;

long long wra::tell() {
    return seek(0, from_current);
}

long long wra::size() {
    return size_by_seeking(*this);
}

}  // namespace morbase::stream
