#include "notices.h"

#include <utility>

namespace watch {

using kivcore::monitor;

void notices::clear() {
    queue.clear();
    unseen.clear();
}

// A removal resets the path: what is created under the same name later is new.
void notices::add_change(std::string const& path, monitor::handler::e_change change) {
    if (change == monitor::handler::k_modified && unseen.count(path) != 0) {
        return;
    }
    queue.push_back({kind::change, path, change});
    if (change == monitor::handler::k_removed) {
        unseen.erase(path);
    } else {
        unseen.insert(path);
    }
}

void notices::add_warning(std::string const& text) {
    queue.push_back({kind::warning, text, {}});
}

void notices::add_end() {
    queue.push_back({kind::end, {}, {}});
}

void notices::deliver_first(monitor::handler& sink) {
    notice const first = std::move(queue.front());
    queue.pop_front();
    switch (first.what) {
        case kind::change:
            unseen.erase(first.text);
            sink.changed(first.text, first.change);
            break;
        case kind::warning:
            sink.log(kivsys::_severity::k_warning, "%s", first.text.c_str());
            break;
        case kind::end:
            sink.terminate();
            break;
    }
}

}  // namespace watch
