#include "facts.h"

#include <algorithm>

#include "markup_text.h"

namespace kivplug {

namespace {

using kind = markup_piece::kind;

constexpr std::size_t k_longest_shown = 30;

// Looks at the text of one element.
class text_reader {
  public:
    text_reader(std::size_t looked_at, reporter& list)
        : self(looked_at), element(list.places().elements()[looked_at]), to(list) {
        auto const& pieces = list.places().pieces();
        for (std::size_t i = element.first_piece;
             i < pieces.size() && pieces[i].start < element.content_end; ++i) {
            if (pieces[i].of == kind::text && list.places().is_blank(pieces[i])) {
                continue;
            }
            is_split = is_split || (first != k_nowhere && pieces[i].of != kind::other);
            has_section = has_section || pieces[i].of == kind::section;
            first = first == k_nowhere && pieces[i].of == kind::text ? i : first;
            has_reference = has_reference || pieces[i].of == kind::reference;
        }
    }

    fact read(std::size_t& taken) {
        taken = k_nowhere;
        if (first == k_nowhere || has_inner()) {
            return without_text(taken);
        }
        auto const& piece = to.places().pieces()[first];
        fact made = {self, to.places().text_of(piece), start_of(piece)};
        if (is_split || has_section || has_reference) {
            made.is_sound = false;
            to.add(135, made.place,
                   "of the text of " + named(element.name) + " the library reads only " +
                       named(shortened(made.value)),
                   "write it in one piece, without comments, CDATA sections and entities in it");
        }
        return made;
    }

  private:
    bool has_inner() const { return element.next > self + 1; }

    std::size_t start_of(markup_piece const& piece) const {
        return std::min(to.places().text().find_first_not_of(" \t\r\n", piece.start), piece.end);
    }

    static std::string shortened(std::string const& text) {
        std::string const line = trimmed(text);
        return line.size() <= k_longest_shown ? line : line.substr(0, k_longest_shown) + "...";
    }

    std::size_t next_text() const {
        auto const& pieces = to.places().pieces();
        std::size_t i = element.first_piece;
        while (i < pieces.size() &&
               (pieces[i].of != kind::text || to.places().is_blank(pieces[i]))) {
            ++i;
        }
        return i < pieces.size() ? i : k_nowhere;
    }

    // What the library takes instead of a text.
    std::string next_text_of(std::size_t piece) const {
        if (piece == k_nowhere) {
            return "there is none after it, and the library stops reading there";
        }
        auto const& next = to.places().pieces()[piece];
        auto const line = to.places().line_and_column(next.start).first;
        return "the library takes the next text instead, " +
               named(shortened(to.places().text_of(next))) + " in line " + std::to_string(line);
    }

    fact without_text(std::size_t& taken) {
        taken = next_text();
        std::string const what = named(element.name);
        if (has_inner()) {
            to.add(140, element.start,
                   what + " holds the element " + named(to.places().elements()[self + 1].name) +
                       " where a text belongs; " + next_text_of(taken),
                   "write a plain text into " + what);
        } else if (has_section || has_reference) {
            to.add(135, element.start,
                   "the library does not read the text of " + what + ": " +
                       (has_section ? "CDATA sections" : "entities of the document's own") +
                       " are not text to it; " + next_text_of(taken),
                   "write it as plain text");
        } else {
            to.add(134, element.start, what + " is empty; " + next_text_of(taken),
                   "write its text, or remove the element");
        }
        return {self, "", element.start, false};
    }

    std::size_t const self;
    markup_element const& element;
    reporter& to;
    std::size_t first = k_nowhere;
    bool is_split = false;
    bool has_section = false;
    bool has_reference = false;
};

}  // namespace

fact read_fact(std::size_t element, reporter& to, std::size_t& taken) {
    return text_reader(element, to).read(taken);
}

}  // namespace kivplug
