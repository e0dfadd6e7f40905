#include "archive_file.h"

#include <cerrno>
#include <ctime>
#include <utility>

namespace archives {

namespace {

bool same_time(timespec const& a, timespec const& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool is_before(timespec const& a, timespec const& b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

}  // namespace

int open_file(std::string const& path, archive_file& result) {
    if (path.find('\0') != std::string::npos) {
        return -ENOENT;
    }
    archive_file opened;
    // The clock that the system uses for file times. Read it before the status.
    timespec now = {};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    opened.descriptor = bundled::open_for_reading(path.c_str());
    if (!opened.descriptor.is_open()) {
        return opened.descriptor.get();
    }
    if (fstat(opened.descriptor.get(), &opened.status) != 0) {
        return -errno;
    }
    if (!S_ISREG(opened.status.st_mode)) {
        return S_ISDIR(opened.status.st_mode) ? -EISDIR : -EINVAL;
    }
    opened.is_settled = is_before(opened.status.st_ctim, now);
    result = std::move(opened);
    return 0;
}

bool is_unchanged(archive_file const& file, struct stat const& now) {
    struct stat const& then = file.status;
    return file.is_settled && then.st_dev == now.st_dev && then.st_ino == now.st_ino &&
           then.st_size == now.st_size && same_time(then.st_mtim, now.st_mtim) &&
           same_time(then.st_ctim, now.st_ctim);
}

}  // namespace archives
