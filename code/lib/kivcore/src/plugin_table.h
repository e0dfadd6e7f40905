// The registry's table: an ordered map from plug-in id to entry, to everybody who
// walks it, and beside it an index that finds one id exactly. Takes no lock: the
// registry holds its own. Hashing an id needs none, so it is apart from the look-up.

#ifndef KIVCORE_PLUGIN_TABLE_H
#define KIVCORE_PLUGIN_TABLE_H

#include <functional>
#include <map>
#include <memory_resource>
#include <string>
#include <string_view>
#include <utility>

#include <tsl/robin_map.h>

#include <kivcore/plugins.h>

namespace kivcore {

class plugins::plugin_table {
  public:
    // What stands under one id. The table holds the references.
    struct entry {
        factory* maker;  // may be null
        info* description;
    };

    // The same with the references.
    struct owned_entry {
        morbase::ptr_refcount<factory> maker;
        morbase::ptr_refcount<info> description;
    };
    using ordered = std::pmr::map<std::pmr::string, owned_entry, std::less<>>;

    static std::size_t hash(std::string const& id) { return std::hash<std::string_view>()(id); }

    // The entry under id, whose hash is given; null when there is none.
    entry const* find(std::string const& id, std::size_t hash_of_id) const {
        auto const place = by_id.find(std::string_view(id), hash_of_id);
        return place != by_id.end() ? &place->second : nullptr;
    }

    // Enters a pair under an id that has no entry yet.
    void enter(std::string const& id, owned_entry const& pair);

    // Replaces what is under an id that has an entry, and gives what was there.
    owned_entry replace(std::string const& id, owned_entry const& pair);

    ordered::const_iterator end() const { return entries.end(); }
    ordered::const_iterator lower_bound(std::string_view id) const {
        return entries.lower_bound(id);
    }

  private:
    using index =
        tsl::robin_map<std::string_view, entry, std::hash<std::string_view>, std::equal_to<>,
                       std::allocator<std::pair<std::string_view, entry>>, true>;

    // Holds what a walk looks at close together, apart from the descriptions made in between.
    // It gives nothing back before its end, and the table grows only.
    // Not on the default resource, which is the host's to change and may go first.
    std::pmr::monotonic_buffer_resource memory{std::pmr::new_delete_resource()};
    ordered entries{&memory};
    // Keys are the map's own, which stay where they are. The pointers are here as well
    // so that a hit needs no look at the map.
    index by_id;
};

}  // namespace kivcore

#endif
