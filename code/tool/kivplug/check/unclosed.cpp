#include "unclosed.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "vocabulary.h"
#include "wording.h"

namespace kivplug {

namespace {

constexpr std::size_t k_longest_tag = 60;

struct construct {
    std::string_view start;
    char const* name;
    char const* repair;
};

// The first that fits counts.
constexpr construct k_constructs[] = {
    {"<!--", "comment", R"(end it with "-->")"},
    {"<![CDATA[", "CDATA section", R"(end it with "]]>")"},
    {"<!", "document type declaration", R"(end it with ">")"},
    {"<?xml ", "XML declaration", R"(end it with "?>")"},
    {"<?", "processing instruction", R"(end it with "?>")"},
    {"<", "tag", R"(end it with ">", or write "&lt;" for a "<" that is a character)"},
};

std::string tag_of(std::string_view name) {
    return "\"</" + std::string(name.substr(0, k_longest_tag)) + ">\"";
}

std::string line_of(std::size_t place, reporter const& to) {
    return "line " + std::to_string(to.places().line_and_column(place).first);
}

// An end tag of no element that is open.
void report_wrong_end_tag(markup::open_element const& open, reporter& to) {
    auto const& elements = to.places().elements();
    auto const& inner = elements[open.element];
    bool const is_leaf = open.element + 1 == elements.size();
    bool const is_slip = is_leaf || !meant_word(open.closed, {std::string(inner.name)}).empty();
    to.add(111, open.end,
           "the end tag of " + named(open.closed) + " closes no element; " + named(inner.name) +
               " of " + line_of(inner.start, to) + " is open there",
           is_slip ? "write " + tag_of(inner.name) + " instead"
                   : "remove it, or add the start tag of " + named(open.closed));
}

}  // namespace

void report_open_element(markup::open_element const& open, reporter& to) {
    auto const& elements = to.places().elements();
    auto const& inner = elements[open.element];
    if (!open.closed.empty() && !open.is_inside) {
        report_wrong_end_tag(open, to);
        return;
    }
    if (open.closed.empty() && open.is_inside) {
        to.add(111, open.end,
               "the document ends here, within " + named(inner.name) + " of " +
                   line_of(inner.start, to) + " and the elements around it",
               "write the rest, or copy the whole file again");
        return;
    }
    bool const is_end_meant =
        inner.parent != k_nowhere && elements[inner.parent].name == inner.name;
    to.add(111, inner.start,
           "the element " + named(inner.name) + " is not closed where " +
               (open.closed.empty() ? "the document ends"
                                    : "the end tag of " + named(open.closed) + " comes") +
               ", in " + line_of(open.end, to),
           (is_end_meant ? "write " : "add ") + tag_of(inner.name) +
               (is_end_meant ? " instead of this start tag" : ""));
}

void report_unended(std::size_t start, reporter& to) {
    auto const& text = to.places().text();
    construct const& found =
        *std::find_if(std::begin(k_constructs), std::end(k_constructs), [&](construct const& each) {
            return text.compare(start, each.start.size(), each.start) == 0;
        });
    to.add(110, start, "the " + std::string(found.name) + " that starts here does not end",
           found.repair);
}

}  // namespace kivplug
