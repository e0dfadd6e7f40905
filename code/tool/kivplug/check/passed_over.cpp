#include "passed_over.h"

#include <algorithm>

#include "kivcore/src/description.h"
#include "vocabulary.h"

namespace kivplug {

namespace {

// Without its end tag a plug-in continues in the next one.
bool ends_plugin_too_late(std::size_t self, std::vector<markup_element> const& elements) {
    auto const is_plugin = [](markup_element const& each) {
        return each.name == kivcore::k_plugin_element;
    };
    return is_plugin(elements[elements[self].parent]) &&
           std::any_of(elements.begin() + static_cast<std::ptrdiff_t>(elements[self].next),
                       elements.end(), is_plugin);
}

bool is_missed(markup_element const& next) {
    return contains(all_elements(), next.name) && next.content != next.end;
}

}  // namespace

void check_passed_over(std::size_t element, reporter& to) {
    auto const& text = to.places().text();
    auto const& elements = to.places().elements();
    auto const& self = elements[element];
    if (self.end >= text.size() || text[self.end] != '<' || text[self.end + 1] == '!' ||
        text[self.end + 1] == '?') {
        return;
    }
    bool const is_end_tag = text[self.end + 1] == '/';
    if (is_end_tag ? !ends_plugin_too_late(element, elements) : !is_missed(elements[self.next])) {
        return;
    }
    to.add(142, self.end,
           "the library skips " + named(self.name) + " and " +
               (is_end_tag ? "the end of \"plugin\"" : named(elements[self.next].name)) +
               " right after it",
           "put a line break after " + named(self.name));
}

}  // namespace kivplug
