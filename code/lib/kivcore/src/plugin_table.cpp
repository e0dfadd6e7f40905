#include "plugin_table.h"

#include <algorithm>

namespace kivcore {

// Copies the id next to the map node that is allocated for it.
std::string_view plugins::plugin_table::copied(std::string const& id) {
    auto* const text = static_cast<char*>(memory.allocate(id.size(), 1));
    std::copy(id.begin(), id.end(), text);
    return {text, id.size()};
}

void plugins::plugin_table::enter(std::string const& id, owned_entry const& pair) {
    std::string_view const text = copied(id);
    auto const place = entries.emplace(ranked(text), pair).first;
    try {
        by_id.emplace(text, entry{pair.maker.get(), pair.description.get()});
    } catch (...) {
        entries.erase(place);  // an id is in both or in neither
        throw;
    }
}

plugins::plugin_table::owned_entry plugins::plugin_table::replace(std::string const& id,
                                                                  owned_entry const& pair) {
    // Nothing here allocates, so no failure can leave the two inconsistent.
    by_id.at(id) = {pair.maker.get(), pair.description.get()};
    return std::exchange(entries.find(ranked(id))->second, pair);
}

// The prefix of a matching id begins with start. Or, if start extends into the version, the
// prefix equals the part of start before its last "/".
std::vector<std::string_view> plugins::plugin_table::ids_from(std::string_view start) const {
    std::vector<std::string_view> ids;
    auto const walk = [&](std::string_view first_prefix, auto const& is_wanted) {
        ranked_id const newest{first_prefix, first_prefix.size(), 0xffffffffU};
        for (auto place = entries.lower_bound(newest);
             place != entries.end() && is_wanted(place->first.prefix()); ++place) {
            ids.push_back(place->first.text);
        }
    };
    if (auto const slash = start.rfind('/'); slash != std::string_view::npos) {
        std::string_view const same = start.substr(0, slash);
        walk(same, [&](std::string_view prefix) { return prefix == same; });
    }
    walk(start, [&](std::string_view prefix) { return prefix.substr(0, start.size()) == start; });
    return ids;
}

}  // namespace kivcore
