#include "plugin_table.h"

namespace kivcore {

void plugins::plugin_table::enter(std::string const& id, owned_entry const& pair) {
    auto const place = entries.emplace(std::string_view(id), pair).first;
    try {
        by_id.emplace(place->first, entry{pair.maker.get(), pair.description.get()});
    } catch (...) {
        entries.erase(place);  // in both or in neither
        throw;
    }
}

plugins::plugin_table::owned_entry plugins::plugin_table::replace(std::string const& id,
                                                                  owned_entry const& pair) {
    // Nothing here allocates, so no failure can leave the two apart.
    by_id.at(id) = {pair.maker.get(), pair.description.get()};
    return std::exchange(entries.find(std::string_view(id))->second, pair);
}

}  // namespace kivcore
