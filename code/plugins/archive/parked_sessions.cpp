#include "parked_sessions.h"

#include <algorithm>
#include <utility>

namespace archives {

std::shared_ptr<parked_sessions> parked_sessions::shared() {
    static auto const one = std::make_shared<parked_sessions>();
    return one;
}

std::unique_ptr<archive_session> parked_sessions::take(std::string const& archive) {
    std::unique_ptr<archive_session> taken;
    {
        std::lock_guard<std::mutex> const guard(lock);
        auto* const found = std::find_if(waiting.begin(), waiting.end(), [&](auto const& each) {
            return each && each->archive() == archive;
        });
        if (found != waiting.end()) {
            taken = std::move(*found);
            std::rotate(found, found + 1, waiting.end());
        }
    }
    return taken && taken->wake() ? std::move(taken) : nullptr;
}

void parked_sessions::put(std::unique_ptr<archive_session> session) {
    if (!session->is_reusable()) {
        return;
    }
    session->sleep();
    std::lock_guard<std::mutex> const guard(lock);
    std::rotate(waiting.begin(), waiting.end() - 1, waiting.end());
    waiting.front().swap(session);  // now holds the oldest, which is released without the lock
}

}  // namespace archives
