#include "element_meaning.h"

#include <algorithm>

#include "kivcore/src/description.h"
#include "vocabulary.h"

namespace kivplug {

namespace {

class meaning_finder {
  public:
    explicit meaning_finder(reporter& list) : to(list), elements(list.places().elements()) {}

    meaning meaning_of(std::size_t self, std::string const& section) {
        std::string_view const name = elements[self].name;
        if (contains(elements_inside(section), name)) {
            return {section, std::string(name)};
        }
        if (std::size_t const colon = name.find(':'); colon != std::string_view::npos) {
            return meaning_of_prefixed(self, section, name.substr(colon + 1));
        }
        if (name == kivcore::k_plugin_element) {
            to.add(125, elements[self].start,
                   "a plug-in stands inside another one, whose description ends with it",
                   "close the element \"plugin\" around it first");
            return {};
        }
        if (is_in_own_namespace(self)) {
            return {};
        }
        return contains(all_elements(), name) ? misplaced(self, section, name)
                                              : misspelled(self, section);
    }

  private:
    bool is_in_own_namespace(std::size_t self) const {
        auto const attributes = to.places().attributes(self);
        return std::any_of(attributes.begin(), attributes.end(),
                           [](markup_attribute const& each) { return each.name == "xmlns"; });
    }

    meaning meaning_of_prefixed(std::size_t self, std::string const& section,
                                std::string_view local) {
        if (!contains(all_elements(), local)) {
            return {};
        }
        to.add(124, elements[self].start,
               "the library does not read " + named(elements[self].name) + ": it knows no prefixes",
               "write " + named(local));
        return contains(elements_inside(section), local) ? meaning{section, std::string(local)}
                                                         : meaning{};
    }

    meaning misplaced(std::size_t self, std::string const& section, std::string_view name) {
        std::string const home = home_of(name);
        to.add(
            122, elements[self].start,
            named(name) + " stands in " + named(section) + ", where the library does not read it",
            "move it into " + named(home));
        return {home, std::string(name)};
    }

    static std::string home_of(std::string_view name) {
        for (char const* section :
             {kivcore::k_plugin_element, kivcore::k_interface_element, kivcore::k_info_element}) {
            if (contains(elements_inside(section), name)) {
                return section;
            }
        }
        return kivcore::k_developer_element;
    }

    meaning misspelled(std::size_t self, std::string const& section) {
        std::string_view const name = elements[self].name;
        std::string word = meant_word(name, elements_inside(section));
        std::string home = section;
        if (word.empty()) {
            word = meant_word(name, all_elements());
            home = word.empty() ? section : home_of(word);
        }
        if (word.empty() && section == kivcore::k_info_element && holds_id(self)) {
            word = kivcore::k_developer_element;
        }
        if (!word.empty()) {
            to.add(121, elements[self].start, "the library does not know an element " + named(name),
                   "write " + named(word) +
                       (home == section ? "" : ", and move it into " + named(home)));
            return {home, word};
        }
        to.add(126, elements[self].start, "the library ignores the element " + named(name),
               "remove it, or put what is free into \"config\"");
        return {section, "", true};
    }

    // As only a developer does.
    bool holds_id(std::size_t self) const {
        for (std::size_t i = self + 1; i < elements[self].next; i = elements[i].next) {
            if (elements[i].name == kivcore::k_id) {
                return true;
            }
        }
        return false;
    }

    reporter& to;
    std::vector<markup_element> const& elements;
};

}  // namespace

meaning meaning_of(std::size_t element, std::string const& section, reporter& to) {
    return meaning_finder(to).meaning_of(element, section);
}

}  // namespace kivplug
