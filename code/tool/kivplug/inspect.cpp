#include "inspect.h"

#include <vector>

#include "failure.h"
#include "json.h"
#include "kind.h"
#include "text.h"

namespace kivplug {

namespace {

using info = kivcore::plugins::info;

// Also matches a text with line breaks, which ".*" alone does not.
constexpr char const* k_everything = "(?s).*";

// Spaces between columns.
constexpr std::size_t k_list_gap = 2;
constexpr std::size_t k_describe_gap = 1;

std::vector<std::string> ids_for(host const& from, std::string const& pattern) {
    auto ids = from.registry().find_plugins(pattern.empty() ? k_everything : pattern);
    if (ids.empty() && !pattern.empty()) {
        throw failure("no id matches " + quoted(pattern) +
                      " as a whole; it must be a valid regular expression, and 'kivplug list' "
                      "shows the ids");
    }
    return ids;
}

json_object json_of(std::string const& id, info const& description) {
    json_object object;
    object.add("id", id);
    object.add("kind", kind_of_type(value_of(description, "interface.category"),
                                    value_of(description, "interface.type")));
    object.add("flavor", value_of(description, "interface.flavor"));
    object.add("version", value_of(description, "info.version"));
    object.add("name", value_of(description, "info.name"));
    object.add("path", value_of(description, "path"));
    return object;
}

std::vector<std::string> row_of(std::string const& id, info const& description) {
    auto const shown = [&](char const* key) {
        auto value = value_of(description, key);
        return value.empty() ? "-" : value;
    };
    return {id, shown("interface.flavor"), shown("info.name")};
}

}  // namespace

void list(host const& from, byte_sink& out, list_options const& options) {
    auto const ids = ids_for(from, options.pattern);
    print_items(out, options.json, [&](json_array* array) {
        std::vector<std::vector<std::string>> rows;
        for (auto const& id : ids) {
            // Nobody else fills the registry: an id that was found has a description.
            auto const found = from.registry().describe_plugin(id);
            array != nullptr ? array->add(json_of(id, *found)) : rows.push_back(row_of(id, *found));
        }
        out.write(table(rows, k_list_gap));  // nothing in JSON
    });
}

void describe(host const& from, byte_sink& out, describe_options const& options) {
    auto const description = from.registry().describe_plugin(from.resolve(options.id));
    std::vector<std::string> keys;
    description->find(k_everything, keys);
    json_object object;
    std::vector<std::vector<std::string>> rows;
    for (auto const& key : keys) {
        auto const value = value_of(*description, key);
        if (options.json) {
            object.add(key, value);
        } else {
            rows.push_back({key + ":", value});
        }
    }
    out.write(options.json ? object.text() + "\n" : table(rows, k_describe_gap));
}

}  // namespace kivplug
