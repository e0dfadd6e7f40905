#include <kivcore/plugins.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <mutex>
#include <string_view>
#include <utility>

#include "pattern.h"

namespace kivcore {

namespace {

using table_lock = std::lock_guard<morbase::mutex const>;

constexpr std::size_t k_id_fields = 5;

// Appends the fields of s to out: n separators make n + 1 fields, empty ones included.
void tokenize(std::string const& s, char sep, std::vector<std::string>& out) {
    std::size_t start = 0;
    for (std::size_t p = s.find(sep); p != std::string::npos; p = s.find(sep, start)) {
        out.emplace_back(s, start, p - start);
        start = p + 1;
    }
    out.emplace_back(s, start);
}

std::string value_of(plugins::info const& description, char const* key) {
    std::string value;
    description.get(key, value);
    return value;
}

std::string composed_id(plugins::info const& description, std::string const& key) {
    return value_of(description, "interface.category") + '/' +
           value_of(description, "interface.type") + '/' + key + '/' +
           value_of(description, "info.developer.id") + '/' + value_of(description, "info.version");
}

bool is_native(plugins::info const& description) {
    return value_of(description, "interface.flavor") == "native";
}

// A field of a version as a 32-bit strtoul reads it: blanks and one sign lead, a
// minus negates modulo 2^32, digits count up to what is none, and a number that does
// not fit is the largest.
unsigned int field_value(std::string const& field) {
    std::size_t const start = std::min(field.find_first_not_of(" \t\n\v\f\r"), field.size());
    std::string_view digits = std::string_view(field).substr(start);
    bool const negative = !digits.empty() && digits.front() == '-';
    if (negative || (!digits.empty() && digits.front() == '+')) {
        digits.remove_prefix(1);
    }
    unsigned int number = 0;
    auto const read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (read.ec == std::errc::result_out_of_range) {
        return 0xffffffffU;
    }
    return negative ? 0U - number : number;
}

// A version in one number: a byte for each of its first four fields, the first one
// topmost. `fields` is working space.
unsigned int version_key(std::string const& version, std::vector<std::string>& fields) {
    fields.clear();
    tokenize(version, '.', fields);
    unsigned int key = 0;
    unsigned int shift = 32;
    for (std::size_t i = 0; i < fields.size() && shift > 0; ++i) {
        shift -= 8;
        key |= field_value(fields[i]) << shift;
    }
    return key;
}

// Where the last field of an id begins; an id of one field is its own prefix and version.
struct split_id {
    explicit split_id(std::string const& id) {
        std::size_t const slash = id.rfind('/');
        prefix = std::string_view(id).substr(0, slash);
        version = slash == std::string::npos ? id : id.substr(slash + 1);
    }

    std::string_view prefix;
    std::string version;
};

}  // namespace

bool version_greater::operator()(std::string const& a, std::string const& b) const {
    std::vector<std::string> fields;
    fields.reserve(3);
    unsigned int const key_of_a = version_key(a, fields);
    return key_of_a > version_key(b, fields);
}

bool plugin_id_less::operator()(std::string const& a, std::string const& b) const {
    split_id const left(a);
    split_id const right(b);
    int const order = left.prefix.compare(right.prefix);
    return order != 0 ? order < 0 : version_greater()(left.version, right.version);
}

plugins::plugins(std::string const& root) : root_path(root), table_mutex(false) {}
plugins::~plugins() = default;

plugins::info::~info() = default;
plugins::factory::~factory() = default;

bool plugins::register_with_info(morbase::ptr_refcount<info> description,
                                 morbase::ptr_refcount<factory> maker) {
    // Declared before the lock and so released after it: the last reference to a
    // factory may close a shared object, which runs code that is not ours.
    std::vector<entry> replaced;
    table_lock const lock(table_mutex);

    std::vector<std::string> keys;
    tokenize(value_of(*description, "interface.key"), '|', keys);
    for (std::string const& key : keys) {
        std::string const id = composed_id(*description, key);
        auto const [place, entered] = table.try_emplace(id, entry{maker, description});
        if (entered) {
            continue;
        }
        if (!is_native(*description) || is_native(*place->second.description)) {
            std::printf(
                "Not inserting plugin %s in database (already present with native interface)\n",
                id.c_str());
            std::fflush(stdout);
            return false;
        }
        std::printf("Overriding plugin %s with native interface\n", id.c_str());
        std::fflush(stdout);
        replaced.push_back(std::exchange(place->second, entry{maker, description}));
    }
    return true;
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
    description->values["path"] = "";
    description->values["id"] = "";
    description->values["interface.category"] = fields[0];
    description->values["interface.type"] = fields[1];
    description->values["interface.key"] = fields[2];
    description->values["info.developer.id"] = fields[3];
    description->values["info.version"] = fields[4];
    description->values["info.name"] = name;
    return register_with_info(description, std::move(maker));
}

morbase::ptr_refcount<plugin> plugins::create_with_id(std::string const& id) {
    table_lock const lock(table_mutex);
    auto const place = table.find(id);
    if (place == table.end() || !place->second.maker) {
        return nullptr;
    }
    return place->second.maker->create();
}

morbase::ptr_refcount<plugin> plugins::create_with_id(std::string const& id,
                                                      morbase::ptr_refcount<factory>& maker) {
    table_lock const lock(table_mutex);
    auto const place = table.find(id);
    if (place == table.end() || !place->second.maker) {
        return nullptr;
    }
    maker = place->second.maker;
    return maker->create();
}

std::vector<std::string> plugins::find_plugins(std::string const& expression) const {
    table_lock const lock(table_mutex);
    pattern const wanted(expression);
    std::vector<std::string> ids;
    for (auto const& [id, unused] : table) {
        if (wanted.matches(id)) {
            ids.push_back(id);
        }
    }
    std::sort(ids.begin(), ids.end(), plugin_id_less());
    return ids;
}

morbase::ptr_refcount<plugins::info> plugins::describe_plugin(std::string const& id) const {
    table_lock const lock(table_mutex);
    auto const place = table.find(id);
    return place != table.end() ? place->second.description : nullptr;
}

}  // namespace kivcore
