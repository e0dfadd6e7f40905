#include "progress.h"

#include <unistd.h>

#include <cstdio>

namespace kivplug {

namespace {

// Between two lines: often enough to be seen to move, seldom enough to cost nothing.
constexpr std::chrono::milliseconds k_interval(200);
constexpr double k_mebibyte = 1024.0 * 1024.0;

}  // namespace

progress::progress(bool wanted)
    : enabled(wanted && isatty(STDERR_FILENO) != 0), started(clock::now()), shown(started) {}

progress::~progress() {
    if (line_open) {
        show(clock::now());
        std::fputc('\n', stderr);
    }
}

void progress::update(unsigned long long total) {
    bytes = total;
    if (!enabled) {
        return;
    }
    auto const now = clock::now();
    if (now - shown < k_interval) {
        return;
    }
    show(now);
    shown = now;
    line_open = true;
}

// The figures have fixed widths: each line covers the one before without any
// control sequence but the carriage return.
void progress::show(clock::time_point now) const {
    double const amount = static_cast<double>(bytes) / k_mebibyte;
    double const seconds = std::chrono::duration<double>(now - started).count();
    double const rate = seconds > 0 ? amount / seconds : 0;
    std::fprintf(stderr, "\r%12.1f MiB %10.1f MiB/s", amount, rate);
    std::fflush(stderr);
}

}  // namespace kivplug
