#include "bind_attribute.h"

#include <algorithm>

#include "kivcore/src/description.h"

namespace kivplug {

std::optional<markup_attribute> function_attribute(std::size_t bind, reporter& to) {
    auto const attributes = to.places().attributes(bind);
    if (attributes.empty()) {
        to.add(158, to.places().elements()[bind].start,
               "\"bind\" does not say which function it is for; the library stops reading there",
               "add the attribute function=\"...\"");
        return std::nullopt;
    }
    auto const function =
        std::find_if(attributes.begin(), attributes.end(),
                     [](markup_attribute const& each) { return each.name == kivcore::k_function; });
    if (function == attributes.end()) {
        auto const& given = attributes.front();
        to.add(158, given.start,
               "\"bind\" has an attribute " + named(given.name) +
                   " and none called \"function\"; the library stops reading there",
               "write \"function\" instead of " + named(given.name));
        return std::nullopt;
    }
    if (function->value.empty()) {
        to.add(158, function->start, "\"bind\" does not say which function it is for",
               "name the function in the attribute");
        return std::nullopt;
    }
    return *function;
}

}  // namespace kivplug
