#include "elements.h"

#include "kivcore/src/description.h"
#include "plugin_element.h"
#include "vocabulary.h"

namespace kivplug {

namespace {

// Whether an element that is not called plugin has sections, as only a plugin has. One around
// plug-ins may have any name and any contents.
bool is_meant_as_plugin(std::size_t self, std::vector<markup_element> const& elements) {
    words const sections = {kivcore::k_interface_element, kivcore::k_info_element};
    bool has_section = false;
    for (std::size_t i = self + 1; i < elements[self].next; i = elements[i].next) {
        if (elements[i].name == kivcore::k_plugin_element) {
            return false;
        }
        has_section = has_section || !meant_word(elements[i].name, sections).empty();
    }
    return has_section;
}

void report_no_plugin(reporter& to) {
    auto const& elements = to.places().elements();
    std::string const root(elements.front().name);
    bool const is_slip = !meant_word(root, {kivcore::k_plugin_element}).empty();
    to.add(120, elements.front().start,
           "the description has no element \"plugin\", and so no plug-in",
           is_slip ? "write \"plugin\" instead of " + named(root)
                   : "describe the plug-in in an element \"plugin\"");
}

}  // namespace

std::vector<intended_plugin> intended_plugins(reporter& to) {
    auto const& elements = to.places().elements();
    std::vector<intended_plugin> plugins;
    bool is_any_meant = false;
    for (std::size_t i = 0; i < elements.size() && !to.is_full();) {
        std::string_view const name = elements[i].name;
        bool const is_prefixed = local_name(name) == kivcore::k_plugin_element;
        if (name == kivcore::k_plugin_element) {
            plugins.push_back(read_plugin(i, to));
        } else if (is_prefixed || is_meant_as_plugin(i, elements)) {
            to.add(is_prefixed ? 124 : 121, elements[i].start,
                   "the library does not read " + named(name) + " as a plug-in",
                   "write \"plugin\" instead of " + named(name));
        } else {
            ++i;
            continue;
        }
        is_any_meant = true;
        i = elements[i].next;
    }
    if (!is_any_meant && !elements.empty()) {
        report_no_plugin(to);
    }
    return plugins;
}

}  // namespace kivplug
