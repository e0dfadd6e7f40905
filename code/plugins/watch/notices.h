// What a handler is still to be told, in order. Telling is kept apart from finding
// out, so that a handler is free to throw or to stop the monitor: the rest of the
// queue is here, and no walk over anything is under way.

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

    // A modification is dropped while a creation or modification of the same path is
    // the last that waits for it: whoever is told looks at the new content anyway.
    void add_change(std::string const& path, kivcore::monitor::handler::e_change change);
    void add_warning(std::string const& text);
    void add_end();

    // Takes the first notice off the queue, then tells it to sink: a handler that
    // throws has had it. Not for an empty queue.
    void tell_first(kivcore::monitor::handler& sink);

  private:
    enum class kind { change, warning, end };

    struct notice {
        kind what;
        std::string text;  // a path or a warning
        kivcore::monitor::handler::e_change change;
    };

    std::deque<notice> queue;
    std::unordered_set<std::string> unseen;  // paths whose content nobody has looked at yet
};

}  // namespace watch

#endif
