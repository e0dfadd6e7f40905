#include "kivcore/plugins.h"

#include <cstdio>
#include <mutex>
#include <string_view>
#include <utility>

#include "description.h"
#include "notices.h"
#include "pattern.h"
#include "plugin_id.h"
#include "plugin_table.h"

namespace kivcore {

namespace {

using table_lock = std::lock_guard<morbase::mutex const>;

constexpr std::size_t k_id_fields = 5;

std::string composed_id(plugins::info const& description, std::string const& key) {
    return value_of(description, k_category) + '/' + value_of(description, k_type) + '/' + key +
           '/' + value_of(description, k_developer_id) + '/' + value_of(description, k_version);
}

bool is_native(plugins::info const& description) {
    return value_of(description, k_flavor) == k_native;
}

}  // namespace

plugins::plugins(std::string const& root)
    : root_path(root), table(std::make_unique<plugin_table>()), table_mutex(false) {}
plugins::~plugins() = default;

plugins::info::~info() = default;
plugins::factory::~factory() = default;

// Parameters by value: the caller releases a refused pair after the lock is released.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool plugins::register_with_info(morbase::ptr_refcount<info> description,
                                 // NOLINTNEXTLINE(performance-unnecessary-value-param)
                                 morbase::ptr_refcount<factory> maker) {
    return enter(description, maker, printed_notices());
}

bool plugins::enter(morbase::ptr_refcount<info> const& description,
                    morbase::ptr_refcount<factory> const& maker, notices& to) {
    // Declared before the lock, so released after it: releasing the last reference to a factory
    // may close a shared object, which runs the plug-in's code.
    std::vector<plugin_table::owned_entry> replaced;
    table_lock const lock(table_mutex);

    std::vector<std::string> keys;
    tokenize(value_of(*description, k_keys), '|', keys);
    bool is_refused = false;
    for (std::string const& key : keys) {
        std::string const id = composed_id(*description, key);
        if (is_refused) {
            to.skipping(id);
            continue;
        }
        auto const* const present = table->find(id, plugin_table::hash(id));
        if (present == nullptr) {
            to.registering(id);
            try {
                table->enter(id, {maker, description});
            } catch (...) {
                to.withdraw();
                throw;
            }
            continue;
        }
        if (!is_native(*description) || is_native(*present->description)) {
            to.refusing(id, *present->description);
            is_refused = true;
            continue;
        }
        replaced.emplace_back();  // now, because nothing may fail after the replacement
        to.replacing(id, *present->description);
        replaced.back() = table->replace(id, {maker, description});
    }
    return !is_refused;
}

bool plugins::register_with_id(std::string const& id, morbase::ptr_refcount<factory> maker,
                               std::string const& name) {
    std::vector<std::string> fields;
    tokenize(id, '/', fields);
    if (fields.size() != k_id_fields) {
        std::puts("plugin id has wrong format");
        std::fflush(stdout);
        return false;
    }
    morbase::ptr_refcount<__info> const description(new __info);
    description->values[k_path] = "";
    description->values[k_id] = "";
    description->values[k_category] = fields[0];
    description->values[k_type] = fields[1];
    description->values[k_keys] = fields[2];
    description->values[k_developer_id] = fields[3];
    description->values[k_version] = fields[4];
    description->values[k_name] = name;
    return register_with_info(description, std::move(maker));
}

morbase::ptr_refcount<plugin> plugins::create_with_id(std::string const& id) {
    std::size_t const hash = plugin_table::hash(id);
    table_lock const lock(table_mutex);
    auto const* const found = table->find(id, hash);
    if (found == nullptr || found->maker == nullptr) {
        return nullptr;
    }
    return found->maker->create();
}

morbase::ptr_refcount<plugin> plugins::create_with_id(std::string const& id,
                                                      morbase::ptr_refcount<factory>& maker) {
    // The factory that the caller held. Declared before the lock, so released after it, as above.
    morbase::ptr_refcount<factory> former;
    std::size_t const hash = plugin_table::hash(id);
    table_lock const lock(table_mutex);
    auto const* const found = table->find(id, hash);
    if (found == nullptr || found->maker == nullptr) {
        return nullptr;
    }
    former = std::exchange(maker, found->maker);
    return maker->create();
}

std::vector<std::string> plugins::find_plugins(std::string const& expression) const {
    std::string const start = literal_start(expression);  // before the lock: a pattern may be long
    std::vector<std::string_view> ids;
    {
        // Only ids that start with the literal start of the expression can match.
        table_lock const lock(table_mutex);
        ids = table->ids_from(start);
    }
    return matching(expression, ids);  // may be slow; no lock needed: the table never frees ids
}

morbase::ptr_refcount<plugins::info> plugins::describe_plugin(std::string const& id) const {
    std::size_t const hash = plugin_table::hash(id);
    table_lock const lock(table_mutex);
    auto const* const found = table->find(id, hash);
    return found != nullptr ? found->description : nullptr;
}

}  // namespace kivcore
