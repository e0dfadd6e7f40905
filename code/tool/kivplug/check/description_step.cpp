#include "description_step.h"

#include <algorithm>

#include <morbase/path.h>

#include "bindings.h"
#include "description_file.h"
#include "elements.h"
#include "kivcore/src/description.h"
#include "reading.h"
#include "text.h"
#include "values.h"
#include "xml_faults.h"

namespace kivplug {

namespace {

using kivcore::value_of;

// As the registry composes them.
std::vector<std::string> ids_of(kivcore::plugins::info const& description) {
    std::string const keys = value_of(description, kivcore::k_keys);
    std::vector<std::string> ids;
    for (std::size_t start = 0; start <= keys.size();) {
        std::size_t const end = std::min(keys.find('|', start), keys.size());
        ids.push_back(value_of(description, kivcore::k_category) + "/" +
                      value_of(description, kivcore::k_type) + "/" +
                      keys.substr(start, end - start) + "/" +
                      value_of(description, kivcore::k_developer_id) + "/" +
                      value_of(description, kivcore::k_version));
        start = end + 1;
    }
    return ids;
}

// Of the functions that the library looks up. What was said about a binding is not to be said
// again about its symbol.
std::vector<bound_function> functions_of(intended_plugin const& plugin, reporter const& to) {
    std::vector<bound_function> functions;
    for (auto const& [function, binding] : plugin.bindings) {
        if (binding.symbol.is_sound) {
            functions.push_back({function, binding.symbol.value,
                                 to.at(to.places().elements()[binding.symbol.element].start)});
        }
    }
    return functions;
}

described_plugin described(reading::plugin const& read,
                           std::vector<intended_plugin> const& intended, reporter const& to) {
    auto const& description = *read.description;
    described_plugin made;
    made.category = value_of(description, kivcore::k_category);
    made.type = value_of(description, kivcore::k_type);
    made.flavor = value_of(description, kivcore::k_flavor);
    made.ids = ids_of(description);
    if (read.element != k_nowhere) {
        made.where = to.at(to.places().elements()[read.element].start);
    }
    auto const place = std::lower_bound(
        intended.begin(), intended.end(), read.element,
        [](intended_plugin const& each, std::size_t element) { return each.element < element; });
    if (place != intended.end() && place->element == read.element) {
        made.functions = functions_of(*place, to);
        made.binds_more =
            place->is_binding_broken || made.functions.size() < place->bindings.size();
    }
    return made;
}

// The last net: a value that the library reads as another one, for no reason known here.
void compare(reading::plugin const& read, intended_plugin const& plugin, reporter& to) {
    for (auto const& [key, text] : plugin.facts) {
        std::string const value = value_of(*read.description, key);
        if (value != text.value) {
            to.add(128, text.place,
                   "the library reads " + named(value) + " for " + named(key) + ", not " +
                       named(text.value),
                   "write the description as the guide for authors of plug-ins shows");
        }
    }
}

void compare_all(reading const& read, std::vector<intended_plugin> const& intended, reporter& to) {
    for (auto const& plugin : intended) {
        auto const found =
            std::lower_bound(read.plugins.begin(), read.plugins.end(), plugin.element,
                             [](reading::plugin const& each, std::size_t element) {
                                 return each.element < element;
                             });
        if (found != read.plugins.end() && found->element == plugin.element) {
            compare(*found, plugin, to);
        }
    }
}

// The schema is for descriptions without a namespace, and the XML library finds fault with
// references to entities wherever they are.
bool is_for_schema(markup const& places) {
    auto const& pieces = places.pieces();
    return places.text().find("xmlns=") == std::string::npos &&
           std::none_of(pieces.begin(), pieces.end(), [](markup_piece const& each) {
               return each.of == markup_piece::kind::reference;
           });
}

// The XML library's own view, where nothing else was found.
void check_schema(std::string const& path, std::string const& text, reporter& to) {
    if (!is_for_schema(to.places())) {
        return;
    }
    auto const reports = schema_reports(path, text);
    if (!reports.empty()) {
        auto const& first = reports.front();
        std::size_t const element = to.places().first_element_of_line(first.line);
        auto const place = element == k_nowhere
                               ? std::make_pair(first.line, first.column)
                               : to.places().line_and_column(to.places().elements()[element].start);
        to.add_at(117, place, "the schema for descriptions refuses it: " + first.message,
                  "write it as the guide for authors of plug-ins shows");
    }
}

std::vector<intended_plugin> check_elements(reporter& to) {
    auto plugins = intended_plugins(to);
    for (auto& plugin : plugins) {
        if (!plugin.is_unclear) {
            check_values(plugin, to);
            check_bindings(plugin, to);
        }
    }
    return plugins;
}

void check_rest(std::string const& path, std::string const& text, reading const& read,
                std::vector<intended_plugin> const& intended, reporter& to) {
    if (to.is_empty() && !read.failure.empty()) {
        to.add_at(118, {0, 0}, "the library refuses the description: " + read.failure,
                  "write it as the guide for authors of plug-ins shows");
    }
    if (to.is_empty()) {
        compare_all(read, intended, to);
    }
    if (to.is_empty()) {
        check_schema(path, text, to);
    }
}

}  // namespace

std::vector<described_plugin> check_description(std::string const& directory, findings& found) {
    auto const text = description_file(directory, found);
    if (!text) {
        return {};
    }
    std::string const path = morbase::path_appended(directory, "plugin.xml", '/');
    auto const copy = utf8_copy_of(*text);
    markup const places(copy.text);
    reading const read = read_description(directory, *text, places);
    reporter to(path, places, found);
    std::vector<intended_plugin> intended;
    if (read.is_xml) {
        report_xml_fault(read, copy, to);
    } else {
        intended = check_elements(to);
        check_rest(path, *text, read, intended, to);
    }
    to.sort();
    std::vector<described_plugin> plugins;
    std::transform(read.plugins.begin(), read.plugins.end(), std::back_inserter(plugins),
                   [&](reading::plugin const& each) { return described(each, intended, to); });
    return plugins;
}

}  // namespace kivplug
