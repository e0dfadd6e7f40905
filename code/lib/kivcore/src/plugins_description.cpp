// Reads the record of one plug-in from its description. Reading is lenient: elements and sections
// may come in any order and number. An unknown element is ignored, but its content is read. An
// element without a text takes the next text in the document.

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <kivcore/plugins.h>
#include <kivsys/readxml_base.h>
#include <morbase/es.h>

#include "description.h"
#include "pattern.h"

namespace kivcore {

namespace {

using kivsys::xml::reader;

constexpr char const* k_no_element_name = "xml parse: failed to read element name";
constexpr char const* k_no_end_element_name = "xml parse: failed to read end element name";

std::string joined(std::string_view start, std::string_view end) {
    std::string key(start.size() + end.size(), '\0');
    std::copy(end.begin(), end.end(), std::copy(start.begin(), start.end(), key.begin()));
    return key;
}

// The text at or after the current node; `element` is the name for the error message.
std::string read_text(reader& document, std::string_view element) {
    document.skip_to_node(reader::k_node_text);
    std::string text;
    if (!document.get_value(text)) {
        morbase::es::call::raise(
            k_plugins_source, __LINE__,
            joined("xml parse: failed to read value of '", joined(element, "'")).c_str());
    }
    return text;
}

// Takes the string as a parameter so that a walk reuses its memory.
void read_name(reader const& document, char const* failure, std::string& name) {
    if (!document.get_name(name)) {
        morbase::es::call::raise(k_plugins_source, __LINE__, failure);
    }
}

// Advances to the end tag called `section`, or to the end of the document. Calls `visit` at every
// start tag on the way; `visit` may advance further.
template <typename visitor>
void walk_section(reader& document, std::string_view section, char const* end_name_failure,
                  visitor const& visit) {
    std::string name;
    while (document.next_node()) {
        switch (document.get_type()) {
            case reader::k_node_element:
                read_name(document, k_no_element_name, name);
                visit(std::string_view(name));
                break;
            case reader::k_node_end_element:
                read_name(document, end_name_failure, name);
                if (name == section) {
                    return;
                }
                break;
            default:
                break;
        }
    }
}

// Adds the element's text if the element is one of the section's facts. The key of a fact is the
// section's prefix followed by the element's name.
void read_fact(reader& document, std::string_view prefix, std::string_view element,
               std::initializer_list<char const*> facts,
               std::map<std::string, std::string>& values) {
    auto const* const fact = std::find_if(facts.begin(), facts.end(), [&](std::string_view key) {
        return key.substr(prefix.size()) == element;
    });
    if (fact != facts.end()) {
        values[*fact] = read_text(document, element);
    }
}

// Adds one binding: the attribute is the name of the function, the text that of the symbol.
void read_bind(reader& document, std::map<std::string, std::string>& values) {
    std::string function;
    if (!document.get_attribute(k_function, function)) {
        morbase::es::call::raise(k_plugins_source, __LINE__,
                                 "xml parse: failed to read 'function' attribute of 'bind'");
    }
    values[joined(k_bind, function)] = read_text(document, k_bind_element);
}

// Adds the two elements that follow the developer's start tag, whatever their names.
void read_developer(reader& document, std::map<std::string, std::string>& values) {
    document.next_node();
    std::string name;
    for (int child = 0; child < 2; ++child) {
        document.skip_to_node(reader::k_node_element);
        read_name(document, k_no_element_name, name);
        values[joined(k_developer, name)] = read_text(document, k_developer_element);
    }
}

}  // namespace

__info::__info() = default;
__info::~__info() = default;

__info::__info(reader& document, std::string const& path) {
    values[k_path] = path;
    if (document.has_attributes()) {
        std::string id;
        document.get_attribute(k_id, id);
        values[k_id] = id;
    }
    walk_section(document, k_plugin_element, k_no_end_element_name, [&](std::string_view name) {
        if (name == k_interface_element) {
            read_interface(document);
        } else if (name == k_info_element) {
            read_info(document);
        } else if (std::find(k_skipped_elements.begin(), k_skipped_elements.end(), name) !=
                   k_skipped_elements.end()) {
            // Moves to the node after the element, normally white space; the walk then passes
            // over that node.
            document.skip_node();
        }
    });
}

void __info::read_interface(reader& document) {
    walk_section(document, k_interface_element, k_no_end_element_name, [&](std::string_view name) {
        if (name == k_bind_element) {
            read_bind(document, values);
        } else {
            read_fact(document, k_interface, name, k_interface_facts, values);
        }
    });
}

void __info::read_info(reader& document) {
    walk_section(document, k_info_element, k_no_element_name, [&](std::string_view name) {
        if (name == k_developer_element) {
            read_developer(document, values);
        } else {
            read_fact(document, k_info, name, k_info_facts, values);
        }
    });
}

bool __info::get(std::string const& key, std::string& value) const {
    auto const place = values.find(key);
    if (place == values.end()) {
        return false;
    }
    value = place->second;
    return true;
}

bool __info::find(std::string const& expression, std::vector<std::string>& keys) const {
    std::vector<std::string_view> all;
    for (auto const& [key, unused] : values) {
        all.emplace_back(key);
    }
    keys = matching(expression, all);  // assigned last: the expression may be an element of keys
    return !keys.empty();
}

}  // namespace kivcore
