// The calls that a handler has yet to receive, in order. The queue separates delivery from
// detection, so that a handler may throw or stop the monitor: the other notices stay in the
// queue, and no loop over other data is interrupted.

#ifndef WATCH_NOTICES_H
#define WATCH_NOTICES_H

#include <deque>
#include <string>
#include <unordered_set>

#include <kivcore/monitor.h>

namespace watch {

class notices {
  public:
    bool empty() const { return queue.empty(); }
    void clear();

    // Drops a modification if the last waiting notice of the same path is a creation or
    // modification: the handler will see the new content anyway.
    void add_change(std::string const& path, kivcore::monitor::handler::e_change change);
    void add_warning(std::string const& text);
    void add_end();

    // Removes the first notice from the queue, then delivers it to sink, so it is not delivered
    // again if the handler throws. The queue must not be empty.
    void deliver_first(kivcore::monitor::handler& sink);

  private:
    enum class kind { change, warning, end };

    struct notice {
        kind what;
        std::string text;  // a path or a warning
        kivcore::monitor::handler::e_change change;
    };

    std::deque<notice> queue;
    std::unordered_set<std::string> unseen;  // paths with a waiting creation or modification
};

}  // namespace watch

#endif
