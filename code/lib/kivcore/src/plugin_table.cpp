#include "plugin_table.h"

#include <algorithm>

namespace kivcore {

// Beside the node that is made for it.
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
        entries.erase(place);  // in both or in neither
        throw;
    }
}

plugins::plugin_table::owned_entry plugins::plugin_table::replace(std::string const& id,
                                                                  owned_entry const& pair) {
    // Nothing here allocates, so no failure can leave the two apart.
    by_id.at(id) = {pair.maker.get(), pair.description.get()};
    return std::exchange(entries.find(ranked(id))->second, pair);
}

// What begins as start does has a prefix that does; or, where start reaches into the version,
// the very prefix that start has.
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
