#include "element_meaning.h"

#include <algorithm>

#include "kivcore/src/description.h"
#include "vocabulary.h"

namespace kivplug {

namespace {

// Of a section: so many of its elements in another one are not there by chance.
constexpr std::size_t k_telling_children = 2;

class meaning_finder {
  public:
    meaning_finder(std::size_t element, std::string const& around, reporter& list)
        : self(element),
          section(around),
          to(list),
          elements(list.places().elements()),
          name(elements[element].name) {}

    meaning find() {
        if (contains(elements_inside(section), name)) {
            return {section, std::string(name)};
        }
        if (local_name(name) != name) {
            return of_prefixed();
        }
        if (name == kivcore::k_plugin_element) {
            return of_plugin();
        }
        if (is_in_own_namespace()) {
            return {};
        }
        return contains(all_elements(), name) ? of_misplaced() : of_unknown();
    }

    meaning find_in_ignored() {
        if (contains(elements_inside(section), name)) {
            return {section, std::string(name)};
        }
        return name == kivcore::k_plugin_element ? of_plugin() : meaning{section, "", true};
    }

  private:
    meaning of_plugin() {
        to.add(125, elements[self].start,
               "a plug-in is inside another one, whose description ends with it",
               "close the element \"plugin\" around it first, or give that another name");
        return {};
    }

    bool is_in_own_namespace() const {
        auto const attributes = to.places().attributes(self);
        return std::any_of(attributes.begin(), attributes.end(),
                           [](markup_attribute const& each) { return each.name == "xmlns"; });
    }

    meaning of_prefixed() {
        auto const local = local_name(name);
        if (!contains(all_elements(), local)) {
            return {};
        }
        to.add(124, elements[self].start,
               "the library does not read " + named(name) + ": it does not know prefixes",
               "write " + named(local));
        return contains(elements_inside(section), local) ? meaning{section, std::string(local)}
                                                         : meaning{};
    }

    // Neighbours that belong to the same section are reported together.
    meaning of_misplaced() {
        std::string const home = home_of(self);
        std::size_t const before = sibling_before(self);
        if (before == k_nowhere || !is_misplaced_from(before, home)) {
            report_misplaced(home);
        }
        return {home, std::string(name)};
    }

    void report_misplaced(std::string const& home) {
        std::size_t count = 1;
        for (std::size_t i = elements[self].next;
             i < elements[elements[self].parent].next && is_misplaced_from(i, home);
             i = elements[i].next) {
            ++count;
        }
        std::string const problem =
            count == 1
                ? named(name) + " is in " + named(section) + ", where the library does not read it"
                : named(name) + " and " + std::to_string(count - 1) +
                      " more elements after it are in " + named(section) +
                      ", where the library does not read them";
        bool const lacks_home = section == kivcore::k_plugin_element && home != section &&
                                !has_child(elements[self].parent, home);
        std::string const them = count == 1 ? "it" : "them";
        to.add(122, elements[self].start, problem,
               lacks_home ? "put an element " + named(home) + " around " + them
                          : "move " + them + " into " + named(home));
    }

    bool is_misplaced_from(std::size_t other, std::string const& home) const {
        return contains(all_elements(), elements[other].name) &&
               !contains(elements_inside(section), elements[other].name) && home_of(other) == home;
    }

    std::size_t sibling_before(std::size_t other) const {
        std::size_t before = other - 1;
        if (before == elements[other].parent) {
            return k_nowhere;
        }
        while (elements[before].parent != elements[other].parent) {
            before = elements[before].parent;
        }
        return before;
    }

    // The version is that of the plug-in, unless it follows what only interface has.
    std::string home_of(std::size_t other) const {
        using namespace kivcore;
        auto const known = elements[other].name;
        std::size_t const before = sibling_before(other);
        if (before != k_nowhere && contains(elements_inside(k_interface_element), known) &&
            contains(elements_inside(k_interface_element), elements[before].name) &&
            elements[before].name != known) {
            return k_interface_element;
        }
        return home_of_word(known);
    }

    static std::string home_of_word(std::string_view word) {
        using namespace kivcore;
        for (char const* home : {k_plugin_element, k_info_element, k_interface_element}) {
            if (contains(elements_inside(home), word)) {
                return home;
            }
        }
        return k_developer_element;
    }

    meaning of_unknown() {
        std::string word = meant_word(name, elements_inside(section));
        std::string home = section;
        if (word.empty()) {
            word = meant_word(name, all_elements());
            home = word.empty() ? section : home_of_word(word);
        }
        bool const is_around_word = !word.empty() && has_child(self, word);
        bool const is_other =
            word == kivcore::k_bind_element && to.places().attributes(self).empty();
        if (word.empty() || is_around_word || is_other) {
            word = is_around_word ? "" : word_by_contents();
            home = section;
        }
        if (word.empty()) {
            return of_ignored();
        }
        to.add(
            121, elements[self].start, "the library does not know an element " + named(name),
            "write " + named(word) + (home == section ? "" : ", and move it into " + named(home)));
        return {home, word};
    }

    meaning of_ignored() {
        bool const is_around = children_in(self, elements_inside(section)) > 0;
        to.add(126, elements[self].start, "the library ignores the element " + named(name),
               is_around ? "remove its tags, and keep what is in it"
                         : "remove it, or put what is free into \"config\"");
        return {section, "", true};
    }

    // The element that has such children, if no other element can be meant.
    std::string word_by_contents() const {
        using namespace kivcore;
        if (section == k_info_element && has_child(self, k_id)) {
            return k_developer_element;
        }
        for (char const* word : {k_interface_element, k_info_element}) {
            if (section == k_plugin_element && !has_child(elements[self].parent, word) &&
                children_in(self, elements_inside(word)) >= k_telling_children) {
                return word;
            }
        }
        return {};
    }

    bool has_child(std::size_t outer, std::string const& word) const {
        return children_in(outer, {word}) > 0;
    }

    // How many children have one of these names, up to a number that is enough.
    std::size_t children_in(std::size_t outer, words const& wanted) const {
        std::size_t count = 0;
        for (std::size_t i = outer + 1; i < elements[outer].next && count < k_telling_children;
             i = elements[i].next) {
            count += contains(wanted, elements[i].name) ? 1 : 0;
        }
        return count;
    }

    std::size_t const self;
    std::string const& section;
    reporter& to;
    std::vector<markup_element> const& elements;
    std::string_view const name;
};

}  // namespace

meaning meaning_of(std::size_t element, std::string const& section, reporter& to) {
    return meaning_finder(element, section, to).find();
}

meaning meaning_in_ignored(std::size_t element, std::string const& section, reporter& to) {
    return meaning_finder(element, section, to).find_in_ignored();
}

}  // namespace kivplug
