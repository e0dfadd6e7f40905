#include "inspect.h"

#include <vector>

#include "failure.h"
#include "json.h"
#include "text.h"

namespace kivplug {

namespace {

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

// What list shows of a plug-in.
struct summary {
    std::string id;
    std::string flavor;
    std::string name;
};

summary summary_of(host const& from, std::string const& id) {
    // Nobody else fills the registry: an id that was found has a description.
    auto const description = from.registry().describe_plugin(id);
    return {id, value_of(*description, "interface.flavor"), value_of(*description, "info.name")};
}

json_object json_of(summary const& shown) {
    json_object object;
    object.add("id", shown.id);
    object.add("flavor", shown.flavor);
    object.add("name", shown.name);
    return object;
}

std::vector<std::string> row_of(summary const& shown) {
    return {shown.id, shown.flavor.empty() ? "-" : shown.flavor,
            shown.name.empty() ? "-" : shown.name};
}

}  // namespace

void list(host const& from, byte_sink& out, list_options const& options) {
    auto const ids = ids_for(from, options.pattern);
    print_items(out, options.json, [&](json_array* array) {
        std::vector<std::vector<std::string>> rows;
        for (auto const& id : ids) {
            auto const shown = summary_of(from, id);
            array != nullptr ? array->add(json_of(shown)) : rows.push_back(row_of(shown));
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
