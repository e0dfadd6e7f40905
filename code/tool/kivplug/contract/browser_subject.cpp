#include "browser_subject.h"

#include <algorithm>
#include <utility>

#include "failure.h"
#include "text.h"

namespace kivplug {

namespace {

using kivcore::browser;

constexpr int k_longest = 16;  // sequence

// Enough to mix directories and files of several levels.
constexpr std::size_t k_most_places = 300;

constexpr char const* k_absent_name = "/there is no such entry";

void queue(std::vector<browsed_place>& waiting, browsed_place const& above) {
    for (auto const& directory : above.directories) {
        bool const is_file =
            std::any_of(above.files.begin(), above.files.end(),
                        [&](auto const& file) { return file.second == directory.second; });
        waiting.emplace_back();
        waiting.back().path = directory.second;
        waiting.back().is_directory = !is_file;
    }
    for (auto const& file : above.files) {
        waiting.emplace_back();
        waiting.back().path = file.second;
        waiting.back().is_file = true;
    }
}

// If files have an info, a listed one without info, url and entries does not exist.
void require_infos(std::vector<browsed_place>& known) {
    bool const have_infos = std::any_of(known.begin(), known.end(), [](auto const& each) {
        return each.is_file && !each.info.empty();
    });
    for (auto& each : known) {
        each.needs_info = have_infos && each.is_file && each.url.empty() && !each.can_browse;
    }
}

}  // namespace

browser_subject::browser_subject(host const& from, place browsed)
    : where(std::move(browsed)),
      make(maker_of<browser>(from, where.id, kivcore::plugin::k_kind_browser)) {}

// Asks a new object: what a question leaves behind does not matter yet.
browsed_place browser_subject::learned_anew(trace const& log, browsed_place at) const {
    log.send(trace::k_restart);
    auto const source = log.created(make);
    return learned(*source, log, std::move(at));
}

std::string browser_subject::root(trace const& log) const {
    auto const source = log.created(make);
    return log.ask_for(
        "root()", [&] { return source->root(); }, quoted);
}

void browser_subject::prepare(trace const& log) {
    browsed_place start;
    start.path = !where.path.empty() ? where.path : root(log);
    browsed_place absent;
    absent.path = start.path + k_absent_name;
    absent.is_absent = true;
    known.push_back(learned_anew(log, absent));
    std::vector<browsed_place> waiting = {start};
    for (std::size_t i = 0; i < waiting.size() && i < k_most_places; ++i) {
        try {
            known.push_back(learned_anew(log, waiting[i]));
            queue(waiting, known.back());
        } catch (unanswered const&) {
            // For example, because the user must not list it.
        }
    }
    require_infos(known);
    if (known.size() < 2 || !known[1].can_browse) {
        throw failure(where.describe("can_browse") +
                      " says that there is nothing to browse; check that it exists, is intact and "
                      "of the kind that this plug-in browses");
    }
}

calls browser_subject::generate(dice& random) const {
    static constexpr verb k_verbs[] = {verb::can_browse, verb::list, verb::list_one_kind,
                                       verb::info, verb::url};
    calls sequence(static_cast<std::size_t>(1 + random.below(k_longest)));
    for (auto& each : sequence) {
        each = {random.one_of(k_verbs), 0, static_cast<int>(random.below(2)),
                random.below(static_cast<long long>(known.size()))};
    }
    return sequence;
}

void browser_subject::run(calls const& sequence, trace const& log) const {
    auto const source = log.created(make);
    for (auto const& each : sequence) {
        auto const index = static_cast<std::size_t>(each.number) % known.size();
        make_call(*source, each, known[index], log);
    }
}

}  // namespace kivplug
