#include "watch.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <filesystem>
#include <new>
#include <system_error>

#include <morbase/path.h>

#include "shared/stream.h"

namespace watch {

namespace {

using clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Events that mean that the root is gone.
constexpr unsigned int k_root_gone = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;

// The end of a wait, or none.
class time_limit {
  public:
    explicit time_limit(int timeout_ms)
        : endless(timeout_ms < 0), end(clock::now() + milliseconds(timeout_ms)) {}

    // The remaining time, in the form that poll(2) takes.
    int left_ms() const {
        if (endless) {
            return -1;
        }
        auto const left = std::chrono::ceil<milliseconds>(end - clock::now()).count();
        return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
    }

  private:
    bool endless;
    clock::time_point end;
};

// Positive if there is something to read, 0 at the time limit or after a signal.
int wait_for_events(int descriptor, time_limit const& limit) {
    pollfd wanted = {descriptor, POLLIN, 0};
    int const ready = ::poll(&wanted, 1, limit.left_ms());
    if (ready < 0) {
        return errno == EINTR ? 0 : -errno;
    }
    return ready;
}

}  // namespace

int directory_monitor::start(std::string const& path, handler* sink) {
    if (listener != nullptr) {
        return -EBUSY;
    }
    if (sink == nullptr || path.empty() || path.find('\0') != std::string::npos) {
        return -EINVAL;
    }
    try {
        std::error_code failure;
        root_path = std::filesystem::canonical(path, failure).string();
        if (failure) {
            return -failure.value();
        }
        root_shown = path;
        auto fresh = std::make_unique<tree>(root_path);
        tree::findings found;
        if (int const result = fresh->open(found); result < 0) {
            return result;
        }
        warn_about(found.problems);
        watched = std::move(fresh);
        listener = sink;
        return 0;
    } catch (std::bad_alloc const&) {
        pending.clear();
        return -ENOMEM;
    }
}

int directory_monitor::poll(int timeout_ms) {
    if (listener == nullptr) {
        return -EBADF;
    }
    if (pending.empty()) {
        if (!watched) {
            return -ENOENT;
        }
        if (int const result = fill(timeout_ms); result < 0) {
            return result;
        }
    }
    int delivered = 0;
    for (; !pending.empty(); ++delivered) {  // stop, called by a handler, empties it
        pending.deliver_first(*listener);
    }
    return delivered;
}

int directory_monitor::stop() {
    if (listener == nullptr) {
        return -EBADF;
    }
    listener = nullptr;
    watched.reset();
    rescan_due = false;
    pending.clear();
    return 0;
}

// Waits until there is something to deliver, or until the time limit.
int directory_monitor::fill(int timeout_ms) {
    time_limit const limit(timeout_ms);
    try {
        for (;;) {
            int const lost = rescan_due ? rescan() : 0;
            if (lost < 0 || !pending.empty()) {
                return lost;
            }
            int const ready = wait_for_events(watched->events(), limit);
            if (ready <= 0) {
                return ready;
            }
            if (int const result = read_events(); result < 0) {
                return result;
            }
        }
    } catch (std::bad_alloc const&) {
        rescan_due = watched != nullptr;  // some of the events that were read are lost
        return -ENOMEM;
    }
}

int directory_monitor::read_events() {
    ssize_t const size = read(watched->events(), buffer.data(), buffer.size());
    if (size < 0) {
        return errno == EAGAIN || errno == EINTR ? 0 : -errno;
    }
    char const* const end = buffer.data() + size;
    // After the end or after a loss, the remaining events are useless.
    for (char const* at = buffer.data(); at != end && watched && !rescan_due;) {
        auto const& event = *reinterpret_cast<inotify_event const*>(at);
        take(event);
        at += sizeof(inotify_event) + event.len;
    }
    return 0;
}

void directory_monitor::take(inotify_event const& event) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
        pending.add_warning("watch: events below " + root_shown +
                            " were lost, so some modifications may not be reported; poll more "
                            "often or raise fs.inotify.max_queued_events");
        rescan_due = true;
        return;
    }
    auto const paths = watched->paths(event.wd);
    // Events of a watch that was removed before they were read.
    if (paths.empty()) {
        return;
    }
    bool const is_root = std::find(paths.begin(), paths.end(), "") != paths.end();
    if (is_root && (event.mask & k_root_gone) != 0) {
        end();
    } else if ((event.mask & IN_UNMOUNT) != 0) {
        rescan_due = true;  // the entries under the mount point become visible
    } else if ((event.mask & IN_IGNORED) != 0) {
        watched->forget_watch(event.wd);
    } else if (event.len > 0) {
        for (std::string const& directory : paths) {
            if (directory.empty() || watched->knows(directory)) {  // may have just been removed
                take_change(joined(directory, event.name), event.mask);
            }
        }
    }
}

void directory_monitor::take_change(std::string const& path, unsigned int mask) {
    if ((mask & (IN_CREATE | IN_MOVED_TO)) != 0) {
        appeared(path, mask);
    } else if ((mask & (IN_DELETE | IN_MOVED_FROM)) != 0) {
        vanished(path, mask);
    } else if ((mask & IN_MODIFY) != 0 && watched->knows(path)) {
        report(path, handler::k_modified);
    }
}

void directory_monitor::appeared(std::string const& path, unsigned int mask) {
    bool const is_directory = (mask & IN_ISDIR) != 0;
    tree::findings found;
    bool const is_new = watched->add(path, is_directory, found);
    report_found(found);
    // The file is known either because a listing found it before its event, or because the move
    // replaced it and its content is different.
    if (!is_new && !is_directory && (mask & IN_MOVED_TO) != 0) {
        report(path, handler::k_modified);
    }
}

void directory_monitor::vanished(std::string const& path, unsigned int mask) {
    tree::findings found;
    watched->remove(path, found);
    // An exchange of two names is announced as two moves, each onto a name that still exists. No
    // event after this one announces the entry that replaced this one.
    if ((mask & IN_MOVED_FROM) != 0) {
        watched->refresh(path, found);
    }
    report_found(found);
}

void directory_monitor::report_found(tree::findings const& found) {
    for (auto const& [path, is_new] : found.changes) {
        report(path, is_new ? handler::k_created : handler::k_removed);
    }
    warn_about(found.problems);
}

// Lists everything again and reports the differences from the known entries.
int directory_monitor::rescan() {
    watched->close();  // there may not be enough watches for both
    auto fresh = std::make_unique<tree>(root_path);
    tree::findings found;
    int const result = fresh->open(found);
    if (result == -ENOENT || result == -ENOTDIR) {
        end();
        return 0;
    }
    if (result < 0) {
        return result;
    }
    auto const& before = watched->entries();
    for (auto i = before.rbegin(); i != before.rend(); ++i) {
        if (!fresh->knows(i->first)) {
            report(i->first, handler::k_removed);
        }
    }
    for (auto const& [path, watch] : fresh->entries()) {
        if (!watched->knows(path)) {
            report(path, handler::k_created);
        }
    }
    warn_about(found.problems);
    watched = std::move(fresh);
    rescan_due = false;
    return 0;
}

void directory_monitor::end() {
    pending.add_end();
    watched.reset();
    rescan_due = false;
}

void directory_monitor::warn_about(std::vector<tree::problem> const& problems) {
    for (tree::problem const& one : problems) {
        pending.add_warning("watch: cannot watch " + shown(one.path) + ": " +
                            std::generic_category().message(one.error) +
                            "; changes in it are not reported");
    }
}

void directory_monitor::report(std::string const& path, handler::e_change change) {
    pending.add_change(shown(path), change);
}

std::string directory_monitor::shown(std::string const& path) const {
    return morbase::path_appended(root_shown, path, '/');
}

}  // namespace watch

extern "C" EXPORTED kivcore::plugin* watch_create() {
    return new watch::directory_monitor;
}
