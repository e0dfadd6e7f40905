#include "inspect.h"

#include <vector>

#include <nlohmann/json.hpp>

#include "failure.h"
#include "json_text.h"
#include "text.h"

namespace kivplug {

namespace {

using nlohmann::json;

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

}  // namespace

void list(host const& from, byte_sink& out, list_options const& options) {
    json objects = json::array();
    std::vector<std::vector<std::string>> rows;
    for (auto const& id : ids_for(from, options.pattern)) {
        auto const description = from.registry().describe_plugin(id);
        // Nobody else fills the registry: an id that was found has a description.
        auto const flavor = value_of(*description, "interface.flavor", "");
        auto const name = value_of(*description, "info.name", "");
        objects.push_back({{"id", id}, {"flavor", flavor}, {"name", name}});
        rows.push_back({id, flavor.empty() ? "-" : flavor, name.empty() ? "-" : name});
    }
    out.write(options.json ? json_text(objects) : table(rows, k_list_gap));
}

void describe(host const& from, byte_sink& out, describe_options const& options) {
    auto const description = from.registry().describe_plugin(from.resolve(options.id));
    std::vector<std::string> keys;
    description->find(k_everything, keys);
    json object = json::object();
    std::vector<std::vector<std::string>> rows;
    for (auto const& key : keys) {
        auto const value = value_of(*description, key, "");
        object[key] = value;
        rows.push_back({key + ":", value});
    }
    out.write(options.json ? json_text(object) : table(rows, k_describe_gap));
}

}  // namespace kivplug
