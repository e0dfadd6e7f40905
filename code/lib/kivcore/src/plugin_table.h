// The registry's table: a map from plug-in id to entry in the order of plugin_id_less, and an
// index that finds one exact id. It takes no lock: the registry holds its own. Hashing is
// separate from the look-up, because it needs no lock.

#ifndef KIVCORE_PLUGIN_TABLE_H
#define KIVCORE_PLUGIN_TABLE_H

#include <cstddef>
#include <functional>
#include <map>
#include <memory_resource>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tsl/robin_map.h>

#include <kivcore/plugins.h>

#include "plugin_id.h"

namespace kivcore {

class plugins::plugin_table {
  public:
    // The entry of one id. The table holds the references.
    struct entry {
        factory* maker;  // may be null
        info* description;
    };

    // The same, but holds the references.
    struct owned_entry {
        morbase::ptr_refcount<factory> maker;
        morbase::ptr_refcount<info> description;
    };

    static std::size_t hash(std::string const& id) { return std::hash<std::string_view>()(id); }

    // The entry under id, or null. The caller supplies the hash of id.
    entry const* find(std::string const& id, std::size_t hash_of_id) const {
        auto const place = by_id.find(std::string_view(id), hash_of_id);
        return place != by_id.end() ? &place->second : nullptr;
    }

    // Enters a pair. The id must not have an entry yet.
    void enter(std::string const& id, owned_entry const& pair);

    // Replaces the entry of an id, which must have one, and returns the former entry.
    owned_entry replace(std::string const& id, owned_entry const& pair);

    // All ids that begin with start, and possibly others, in order. The texts stay valid as long
    // as the table exists, even without the lock.
    std::vector<std::string_view> ids_from(std::string_view start) const;

  private:
    using index =
        tsl::robin_map<std::string_view, entry, std::hash<std::string_view>, std::equal_to<>,
                       std::allocator<std::pair<std::string_view, entry>>, true>;

    std::string_view copied(std::string const& id);

    // Keeps the data that a walk reads close together, separate from the descriptions that are
    // allocated in between. It frees nothing before its destruction; that is fine, because the
    // table only grows. It does not use the default resource, which the host may replace and
    // destroy first.
    std::pmr::monotonic_buffer_resource memory{std::pmr::new_delete_resource()};
    std::pmr::map<ranked_id, owned_entry> entries{&memory};
    // Repeats the pointers, so that a hit does not need the map.
    index by_id;
};

}  // namespace kivcore

#endif
