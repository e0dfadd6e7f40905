#include "plugin_element.h"

#include <algorithm>
#include <set>
#include <utility>

#include "bind_attribute.h"
#include "element_meaning.h"
#include "kivcore/src/description.h"
#include "markup_text.h"
#include "passed_over.h"
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
        if (!describes_plugin()) {
            to.add(130, elements[made.element].start,
                   R"(the plug-in has neither "interface" nor "info")",
                   "describe it in these two elements, as the guide for authors of plug-ins shows");
            made.is_unclear = true;
            return std::move(made);
        }
        read_inside(made.element, kivcore::k_plugin_element);
        is_late = true;
        for (auto const& [element, meant] : misplaced) {
            read_as(element, meant);
        }
        return std::move(made);
    }

  private:
    // Whether anything is there that only a description for this library has.
    bool describes_plugin() const {
        words const telling = {kivcore::k_interface_element, kivcore::k_info_element, "category",
                               "flavor", kivcore::k_bind_element};
        for (std::size_t i = made.element + 1; i < elements[made.element].next; ++i) {
            bool const is_child = elements[i].parent == made.element;
            auto const name = local_name(elements[i].name);
            if (is_child ? !meant_word(name, telling).empty() : contains(telling, name)) {
                return true;
            }
        }
        return false;
    }

    // NOLINTBEGIN(misc-no-recursion): the XML library refuses what is over 256 elements deep
    template <typename visitor>
    void for_each_child(std::size_t outer, visitor const& visit) {
        for (std::size_t i = outer + 1; i < elements[outer].next && !to.is_full();
             i = elements[i].next) {
            visit(i);
        }
    }

    void read_inside(std::size_t outer, std::string const& section) {
        for_each_child(outer, [&](std::size_t child) { read_element(child, section, false); });
        report_stray_text(outer);
    }

    // The library ignores some elements, but reads what is in them.
    void read_element(std::size_t self, std::string const& section, bool is_in_ignored) {
        auto const meant =
            is_in_ignored ? meaning_in_ignored(self, section, to) : meaning_of(self, section, to);
        made.is_unclear = made.is_unclear || elements[self].name == kivcore::k_plugin_element;
        if (meant.is_read_through) {
            for_each_child(self, [&](std::size_t child) { read_element(child, section, true); });
        } else if (!meant.word.empty() && meant.section != section) {
            misplaced.emplace_back(self, meant);
        } else if (!meant.word.empty()) {
            read_as(self, meant);
        }
    }

    void read_as(std::size_t self, meaning const& meant) {
        if (meant.word == kivcore::k_interface_element || meant.word == kivcore::k_info_element) {
            read_section(self, meant.word);
        } else if (meant.section == kivcore::k_plugin_element) {
            check_passed_over(self, to);
        } else if (meant.word == kivcore::k_bind_element) {
            read_bind(self);
        } else if (meant.word == kivcore::k_developer_element) {
            read_developer(self);
        } else {
            add_fact(self, meant.section + "." + meant.word);
        }
    }

    void read_section(std::size_t self, std::string const& name) {
        bool const is_info = name == kivcore::k_info_element;
        auto& first = is_info ? made.info : made.interface;
        bool const is_again = first != k_nowhere && !is_late;
        if (is_again) {
            to.add(
                139, elements[self].start,
                named(elements[self].name) +
                    " is there again in one plug-in; the library reads both as one, and the last "
                    "of each value counts",
                "write an element \"plugin\" for each, or remove one");
            made.is_unclear = made.is_unclear || !is_info;
        }
        first = first == k_nowhere ? self : first;
        read_repeated(is_again, [&] { read_inside(self, name); });
    }

    // What is in an element that was reported as repeated is not reported as that again.
    template <typename reading_type>
    void read_repeated(bool is_again, reading_type const& read_it) {
        bool const was_repeated = std::exchange(is_in_repeated, is_in_repeated || is_again);
        read_it();
        is_in_repeated = was_repeated;
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
                       "the text " + named(text) + " is in " + named(elements[outer].name) +
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
        if (!is_new && !is_late) {
            report_repeated(self, named(elements[self].name), place->second.element);
            place->second = text;
        }
    }

    void report_repeated(std::size_t self, std::string const& what, std::size_t first) {
        if (!is_in_repeated) {
            auto const line = to.places().line_and_column(elements[first].start).first;
            to.add(139, elements[self].start,
                   what + " is there again; the library drops that of line " + std::to_string(line),
                   "remove one of them");
        }
    }

    void read_bind(std::size_t self) {
        auto const function = function_attribute(self, to);
        if (!function) {
            made.is_binding_broken = true;
            text_of(self);
            return;
        }
        intended_binding const binding{function->start, text_of(self)};
        auto const [same, is_new] = made.bindings.emplace(function->value, binding);
        if (!is_new && !is_late) {
            report_repeated(self, "the binding of " + named(function->value),
                            same->second.symbol.element);
            same->second = binding;
        }
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
                return meant_word(local_name(elements[child].name), {word}) == word;
            });
            if (!is_there) {
                missing.push_back(word);
            }
        }
        if (!missing.empty()) {
            report_incomplete(self, children, missing);
            return;
        }
        bool const is_again = developer != k_nowhere && !is_late;
        if (is_again) {
            report_repeated(self, named(elements[self].name), developer);
        }
        developer = self;
        read_repeated(is_again, [&] { read_inside(self, kivcore::k_developer_element); });
    }

    // NOLINTEND(misc-no-recursion)

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

    reporter& to;
    std::vector<markup_element> const& elements;
    intended_plugin made;
    std::vector<std::pair<std::size_t, meaning>> misplaced;
    std::set<std::size_t> taken_texts;  // pieces that the library reads for an empty element
    std::size_t developer = k_nowhere;
    bool is_in_repeated = false;
    bool is_late = false;  // misplaced elements are read: they replace nothing
};

}  // namespace

intended_plugin read_plugin(std::size_t element, reporter& to) {
    return plugin_reader(element, to).read();
}

}  // namespace kivplug
