#include "elements.h"

#include <algorithm>
#include <set>

#include "element_meaning.h"
#include "kivcore/src/description.h"
#include "vocabulary.h"

namespace kivplug {

namespace {

// Reads one plugin element.
class plugin_reader {
  public:
    plugin_reader(std::size_t self, reporter& list)
        : to(list), elements(list.places().elements()), made{self} {}

    intended_plugin read() {
        check_id_attribute();
        read_inside(made.element, kivcore::k_plugin_element);
        return std::move(made);
    }

  private:
    // NOLINTBEGIN(misc-no-recursion): the XML library refuses what is over 256 elements deep
    template <typename visitor>
    void for_each_child(std::size_t outer, visitor const& visit) {
        for (std::size_t i = outer + 1; i < elements[outer].next && !to.is_full();
             i = elements[i].next) {
            visit(i);
        }
    }

    void read_inside(std::size_t outer, std::string const& section) {
        for_each_child(outer, [&](std::size_t child) { read_element(child, section); });
        report_stray_text(outer);
    }

    void read_element(std::size_t self, std::string const& section) {
        auto const [home, word, is_read_through] = meaning_of(self, section, to);
        if (is_read_through) {
            for_each_child(self, [&](std::size_t child) { read_element(child, section); });
        }
        made.is_cut_off = made.is_cut_off || elements[self].name == kivcore::k_plugin_element;
        if (word == kivcore::k_interface_element || word == kivcore::k_info_element) {
            read_section(self, word);
        } else if (home == kivcore::k_plugin_element && !word.empty()) {
            check_passed_over(self);
        } else if (word == kivcore::k_bind_element) {
            read_bind(self);
        } else if (word == kivcore::k_developer_element) {
            read_developer(self);
        } else if (!word.empty()) {
            add_fact(self, home + "." + word);
        }
    }

    void read_section(std::size_t self, std::string const& name) {
        auto& first = name == kivcore::k_info_element ? made.info : made.interface;
        repeated_section = first == k_nowhere ? k_nowhere : self;
        first = first == k_nowhere ? self : first;
        read_inside(self, name);
        repeated_section = k_nowhere;
    }

    void check_id_attribute() {
        for (auto const& each : to.places().attributes(made.element)) {
            if (each.name == kivcore::k_id) {
                return;
            }
            if (meant_word(each.name, {kivcore::k_id}) == kivcore::k_id) {
                to.add(143, each.start,
                       "the library does not know the attribute " + named(each.name) +
                           " of \"plugin\"",
                       "write \"id\"");
                return;
            }
        }
    }

    void report_stray_text(std::size_t outer) {
        auto const& pieces = to.places().pieces();
        for (std::size_t i = elements[outer].first_piece;
             i < pieces.size() && pieces[i].start < elements[outer].content_end; ++i) {
            bool const is_text = pieces[i].of == markup_piece::kind::text ||
                                 pieces[i].of == markup_piece::kind::section;
            if (pieces[i].element == outer && is_text && taken_texts.count(i) == 0 &&
                !to.places().is_blank(pieces[i])) {
                std::string const text = trimmed(to.places().text_of(pieces[i]));
                to.add(127, to.places().text().find_first_not_of(" \t\r\n", pieces[i].start),
                       "the text " + named(text) + " stands in " + named(elements[outer].name) +
                           ", where only elements are read",
                       "put it into an element, or remove it");
            }
        }
    }

    fact text_of(std::size_t self) {
        std::size_t taken = k_nowhere;
        fact made_fact = read_fact(self, to, taken);
        taken_texts.insert(taken);
        return made_fact;
    }

    void add_fact(std::size_t self, std::string const& key) {
        std::string const whole = key.compare(0, 10, "developer.") == 0 ? "info." + key : key;
        fact const text = text_of(self);
        auto const [place, is_new] = made.facts.emplace(whole, text);
        if (!is_new) {
            report_repeated(self, named(elements[self].name), place->second.element);
            place->second = text;
        }
    }

    // Of a whole section that is there again, this says so once.
    void report_repeated(std::size_t self, std::string const& what, std::size_t first) {
        if (repeated_section != k_nowhere) {
            if (repeated_sections.insert(repeated_section).second) {
                to.add(139, elements[repeated_section].start,
                       named(elements[repeated_section].name) +
                           " is there again in one plug-in; the last of each value counts",
                       "write an element \"plugin\" for each, or remove one");
            }
            return;
        }
        auto const line = to.places().line_and_column(elements[first].start).first;
        to.add(139, elements[self].start,
               what + " is there again; the library drops that of line " + std::to_string(line),
               "remove one of them");
    }

    void read_bind(std::size_t self) {
        auto const attributes = to.places().attributes(self);
        auto const function = std::find_if(
            attributes.begin(), attributes.end(),
            [](markup_attribute const& each) { return each.name == kivcore::k_function; });
        if (function == attributes.end() || function->value.empty()) {
            report_no_function(self, attributes);
            text_of(self);
            return;
        }
        intended_binding const binding{function->start, text_of(self)};
        auto const [same, is_new] = made.bindings.emplace(function->value, binding);
        if (!is_new) {
            report_repeated(self, "the binding of " + named(function->value),
                            same->second.symbol.element);
            same->second = binding;
        }
    }

    void report_no_function(std::size_t self, std::vector<markup_attribute> const& attributes) {
        made.is_binding_broken = true;
        if (attributes.empty()) {
            to.add(158, elements[self].start,
                   "\"bind\" does not say which function it is for; the library stops reading "
                   "there",
                   "add the attribute function=\"...\"");
            return;
        }
        auto const& given = attributes.front();
        if (given.name == kivcore::k_function) {
            to.add(158, given.start, "\"bind\" does not say which function it is for",
                   "name the function in the attribute");
            return;
        }
        to.add(158, given.start,
               "\"bind\" has an attribute " + named(given.name) +
                   " and none called \"function\"; the library stops reading there",
               "write \"function\" instead of " + named(given.name));
    }

    // The library takes the next two elements, whatever they are.
    void read_developer(std::size_t self) {
        std::vector<std::size_t> children;
        for_each_child(self, [&](std::size_t child) { children.push_back(child); });
        words missing;
        for (auto const& word : elements_inside(kivcore::k_developer_element)) {
            auto const end = children.begin() +
                             static_cast<std::ptrdiff_t>(std::min<std::size_t>(children.size(), 2));
            bool const is_there = std::any_of(children.begin(), end, [&](std::size_t child) {
                return meant_word(local_name(child), {word}) == word;
            });
            if (!is_there) {
                missing.push_back(word);
            }
        }
        if (missing.empty()) {
            read_inside(self, kivcore::k_developer_element);
        } else {
            report_incomplete(self, children, missing);
        }
    }

    // NOLINTEND(misc-no-recursion)

    std::string_view local_name(std::size_t self) const {
        std::string_view const name = elements[self].name;
        std::size_t const colon = name.find(':');
        return colon == std::string_view::npos ? name : name.substr(colon + 1);
    }

    void report_incomplete(std::size_t self, std::vector<std::size_t> const& children,
                           words const& missing) {
        std::size_t const next = children.size() < 2 ? self + 1 + children.size() : children[1];
        to.add(
            141, elements[self].start,
            R"(the first two elements in "developer" do not include )" + all_named(missing) +
                (children.size() < 2 && next < elements.size()
                     ? "; the library takes the next element instead, " + named(elements[next].name)
                     : ""),
            R"(make "name" and "id" the first two elements in "developer")");
        for (auto const& word : elements_inside(kivcore::k_developer_element)) {
            made.facts.emplace(std::string(kivcore::k_developer) + word,
                               fact{self, "", elements[self].start, false});
        }
    }

    // The library walks past the element, and past what comes after it.
    void check_passed_over(std::size_t self) {
        auto const& text = to.places().text();
        std::size_t const end = elements[self].end;
        if (end >= text.size() || text[end] != '<' || text[end + 1] == '!' ||
            text[end + 1] == '?') {
            return;
        }
        bool const is_end_tag = text[end + 1] == '/';
        std::size_t const next = elements[self].next;
        if (is_end_tag ? !ends_plugin_too_late(self) : !is_missed(next)) {
            return;
        }
        to.add(142, end,
               "the library passes over " + named(elements[self].name) + " and over " +
                   (is_end_tag ? "the end of \"plugin\"" : named(elements[next].name)) +
                   " right after it",
               "put a line break after " + named(elements[self].name));
    }

    // Without its end tag a plug-in goes on in the next one.
    bool ends_plugin_too_late(std::size_t self) const {
        return elements[self].parent == made.element &&
               std::any_of(elements.begin() + static_cast<std::ptrdiff_t>(elements[self].next),
                           elements.end(), [](markup_element const& each) {
                               return each.name == kivcore::k_plugin_element;
                           });
    }

    bool is_missed(std::size_t next) const {
        return contains(all_elements(), elements[next].name) &&
               elements[next].content != elements[next].end;
    }

    reporter& to;
    std::vector<markup_element> const& elements;
    intended_plugin made;
    std::size_t repeated_section = k_nowhere;  // that is being read
    std::set<std::size_t> repeated_sections;   // that were reported
    std::set<std::size_t> taken_texts;         // pieces that the library reads for an empty element
};

// Whether an element that is not called plugin holds what only that does.
bool is_meant_as_plugin(std::size_t self, std::vector<markup_element> const& elements) {
    words const sections = {kivcore::k_interface_element, kivcore::k_info_element};
    for (std::size_t i = self + 1; i < elements[self].next; i = elements[i].next) {
        if (!meant_word(elements[i].name, sections).empty()) {
            return true;
        }
    }
    return false;
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
        std::size_t const colon = name.find(':');
        bool const is_prefixed =
            colon != std::string_view::npos && name.substr(colon + 1) == kivcore::k_plugin_element;
        if (name == kivcore::k_plugin_element) {
            plugins.push_back(plugin_reader(i, to).read());
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
