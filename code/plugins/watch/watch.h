// A monitor of one directory and everything below it. Its reports and failures are documented in
// plugin.xml, which is installed.

#ifndef WATCH_WATCH_H
#define WATCH_WATCH_H

#include <sys/inotify.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <kivcore/monitor.h>

#include "notices.h"
#include "tree.h"

namespace watch {

class directory_monitor final : public kivcore::monitor {
  public:
    directory_monitor() = default;

    // A relative path keeps its meaning if the process changes its directory.
    int start(std::string const& path, handler* sink) override;

    // Returns the number of calls to the handler. Also returns 0 if a signal ends the wait, so
    // that a host can stop. Returns -EBADF if not started, -ENOENT after terminate was called.
    // Exceptions of the handler pass through: the call that threw is not repeated, and the next
    // poll continues with the one after it. The handler may call stop; then it gets no further
    // calls. It must not release the monitor.
    int poll(int timeout_ms) override;

    // Returns -EBADF if not started. Drops events that have not been delivered.
    int stop() override;

  private:
    static constexpr std::size_t k_buffer_size = 65536;

    int fill(int timeout_ms);
    int read_events();
    void take(inotify_event const& event);
    void take_change(std::string const& path, unsigned int mask);
    void appeared(std::string const& path, unsigned int mask);
    void vanished(std::string const& path, unsigned int mask);
    void report_found(tree::findings const& found);
    int rescan();
    void end();
    void warn_about(std::vector<tree::problem> const& problems);
    void report(std::string const& path, handler::e_change change);
    std::string shown(std::string const& path) const;

    std::string root_shown;         // as given to start
    std::string root_path;          // absolute
    handler* listener = nullptr;    // null while stopped
    std::unique_ptr<tree> watched;  // null while stopped and after the end
    bool rescan_due = false;        // events were lost
    notices pending;
    alignas(inotify_event) std::array<char, k_buffer_size> buffer{};
};

}  // namespace watch

#endif
