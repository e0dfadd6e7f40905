#include "morbase/stream.h"

namespace morbase::stream {

namespace {

// The size of a stream that can seek, found by a visit to its end. The position is
// restored also when the end could not be reached: that failure is then the answer.
template <typename stream>
long long size_by_seeking(stream& visited) {
    long long const position = visited.tell();
    if (position < 0) {
        return -1;
    }
    long long const end = visited.seek(0, from_end);
    if (visited.seek(position, from_start) < 0) {
        return -1;
    }
    return end;
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
    long long const position = tell();
    if (position < 0) {
        return -1;
    }
    long long const peeked = read(buffer, count);
    // Worse than anything that the read may have met: callers count on the position.
    if (seek(position, from_start) < 0) {
        return -1;
    }
    return peeked;
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
