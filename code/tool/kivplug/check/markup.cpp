#include "markup.h"

#include <algorithm>

#include "markup_text.h"

namespace kivplug {

namespace {

constexpr char const* k_ends_of_name = " \t\r\n/>=<";

bool starts_with(std::string_view text, std::size_t at, std::string_view start) {
    return text.compare(at, start.size(), start) == 0;
}

}  // namespace

markup::markup(std::string document) : whole(std::move(document)) {
    line_starts.push_back(0);
    for (std::size_t end = whole.find('\n'); end != std::string::npos;
         end = whole.find('\n', end + 1)) {
        line_starts.push_back(end + 1);
    }
    scan();
    if (!open.empty() && !first_open && !first_unended) {
        first_open = {open.back(), whole.size(), {}, open.size() > 1};
    }
}

void markup::scan() {
    while (at < whole.size() && !first_open && !first_unended) {
        if (whole[at] != '<') {
            add_text(std::min(whole.find('<', at), whole.size()));
        } else if (starts_with(whole, at, "<!--")) {
            add_piece(markup_piece::kind::other, after("-->", 4));
        } else if (starts_with(whole, at, "<![CDATA[")) {
            add_piece(markup_piece::kind::section, after("]]>", 9));
        } else if (starts_with(whole, at, "<?")) {
            add_piece(markup_piece::kind::other, after("?>", 2));
        } else if (starts_with(whole, at, "<!")) {
            add_piece(markup_piece::kind::other, end_of_document_type());
        } else if (starts_with(whole, at, "</")) {
            close_element();
        } else {
            add_start_tag();
        }
    }
}

std::size_t markup::after(std::string_view mark, std::size_t skipped) {
    std::size_t const found = whole.find(mark, at + skipped);
    if (found == std::string::npos) {
        first_unended = at;
        return whole.size();
    }
    return found + mark.size();
}

// A ">" in quotes does not count.
std::size_t markup::end_of_tag() {
    std::size_t end = at + 1;
    while (end < whole.size() && whole[end] != '>' && whole[end] != '<') {
        bool const is_quote = whole[end] == '"' || whole[end] == '\'';
        end = is_quote ? std::min(whole.find(whole[end], end + 1), whole.size() - 1) + 1 : end + 1;
    }
    if (end >= whole.size() || whole[end] == '<') {
        first_unended = at;
        return end;
    }
    return end + 1;
}

std::size_t markup::end_of_document_type() {
    bool is_inside = false;
    std::size_t end = at;
    while (end < whole.size() && (is_inside || whole[end] != '>')) {
        if (starts_with(whole, end, "<!--")) {
            end = std::min(whole.find("-->", end), whole.size());
        } else if (starts_with(whole, end, "<?")) {
            end = std::min(whole.find("?>", end), whole.size());
        } else if (whole[end] == '"' || whole[end] == '\'') {
            end = std::min(whole.find(whole[end], end + 1), whole.size());
        } else if (whole[end] == '[' || whole[end] == ']') {
            is_inside = whole[end] == '[';
        }
        ++end;
    }
    if (end >= whole.size()) {
        first_unended = at;
    }
    return std::min(end + 1, whole.size());
}

void markup::add_piece(markup_piece::kind of, std::size_t end) {
    all_pieces.push_back({of, at, end, open.empty() ? k_nowhere : open.back()});
    at = end;
}

// References to entities of the document's own are pieces of their own.
void markup::add_text(std::size_t end) {
    std::size_t start = at;
    auto const here = std::string_view(whole).substr(0, end);  // none is looked for further on
    for (std::size_t next = here.find('&', at); next < end; next = here.find('&', next + 1)) {
        std::size_t const after_it = end_of_reference(whole, next);
        std::string_view const name = std::string_view(whole).substr(next + 1, after_it - next - 2);
        if (after_it == 0 || after_it > end || !resolved(name).empty()) {
            continue;
        }
        if (next > start) {
            add_piece(markup_piece::kind::text, next);
        }
        at = next;
        add_piece(markup_piece::kind::reference, after_it);
        start = after_it;
    }
    if (end > start) {
        at = start;
        add_piece(markup_piece::kind::text, end);
    }
    at = end;
}

void markup::add_start_tag() {
    std::size_t const end = end_of_tag();
    std::size_t const name_end = std::min(whole.find_first_of(k_ends_of_name, at + 1), end);
    bool const is_empty = end >= 2 && whole[end - 1] == '>' && whole[end - 2] == '/';
    std::size_t const self = all_elements.size();
    all_elements.push_back({std::string_view(whole).substr(at + 1, name_end - at - 1), at, end, end,
                            end, open.empty() ? k_nowhere : open.back(), self + 1,
                            all_pieces.size()});
    if (!is_empty) {
        open.push_back(self);
    }
    at = end;
}

void markup::close_element() {
    std::size_t const end = end_of_tag();
    std::size_t const name_end = std::min(whole.find_first_of(k_ends_of_name, at + 2), end);
    std::string_view const name = std::string_view(whole).substr(at + 2, name_end - at - 2);
    if (open.empty()) {
        at = whole.size();  // the document is over
        return;
    }
    auto& last = all_elements[open.back()];
    if (last.name != name) {
        bool const is_around = std::any_of(open.begin(), open.end(), [&](std::size_t each) {
            return all_elements[each].name == name;
        });
        first_open = {open.back(), at, name, is_around};
        return;
    }
    last.content_end = at;
    last.end = end;
    last.next = all_elements.size();
    open.pop_back();
    at = end;
}

std::vector<markup_attribute> markup::attributes(std::size_t element) const {
    auto const& tag = all_elements[element];
    auto const here = std::string_view(whole).substr(0, tag.content);
    std::vector<markup_attribute> found;
    std::size_t from = tag.start + 1 + tag.name.size();
    for (;;) {
        from = here.find_first_not_of(" \t\r\n/", from);
        std::size_t const equals = here.find('=', from);
        std::size_t const quote = here.find_first_of("\"'", equals);
        if (from >= tag.content || equals >= tag.content || quote >= tag.content) {
            return found;
        }
        std::size_t const end = std::min(here.find(whole[quote], quote + 1), tag.content);
        found.push_back({trimmed(here.substr(from, equals - from)),
                         decoded(here.substr(quote + 1, end - quote - 1)), from});
        from = end + 1;
    }
}

std::string markup::text_of(markup_piece const& piece) const {
    return decoded(std::string_view(whole).substr(piece.start, piece.end - piece.start));
}

bool markup::is_blank(markup_piece const& piece) const {
    return kivplug::is_blank(text_of(piece));
}

std::pair<int, int> markup::line_and_column(std::size_t place) const {
    auto const next = std::upper_bound(line_starts.begin(), line_starts.end(), place);
    return {static_cast<int>(next - line_starts.begin()), static_cast<int>(place - next[-1]) + 1};
}

std::size_t markup::start_of_line(int line) const {
    bool const is_there = line > 0 && static_cast<std::size_t>(line) <= line_starts.size();
    return is_there ? line_starts[static_cast<std::size_t>(line) - 1] : k_nowhere;
}

std::size_t markup::first_element_of_line(int line) const {
    auto const found = std::find_if(
        all_elements.begin(), all_elements.end(),
        [&](markup_element const& each) { return line_and_column(each.start).first == line; });
    return found == all_elements.end() ? k_nowhere
                                       : static_cast<std::size_t>(found - all_elements.begin());
}

std::string_view local_name(std::string_view name) {
    return name.substr(name.find(':') + 1);
}

}  // namespace kivplug
