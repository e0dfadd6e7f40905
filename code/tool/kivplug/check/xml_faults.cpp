#include "xml_faults.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace kivplug {

namespace {

constexpr std::size_t k_longest_tag = 60;

bool has(std::string const& text, char const* part) {
    return text.find(part) != std::string::npos;
}

// What to do about a report of the XML library, by a part of its text.
struct known_report {
    char const* part;
    int rule;
    char const* repair;
};

constexpr known_report k_known[] = {
    {"not proper UTF-8", 113,
     "save the file in UTF-8, or name its encoding in the XML declaration"},
    {"Invalid bytes in character encoding", 113,
     "save the file in the encoding that its XML declaration names"},
    {"not valid in its encoding", 113,
     "save the file in the encoding that its XML declaration names"},
    {"input conversion failed", 113,
     "save the file in the encoding that its XML declaration names"},
    {"Unsupported encoding", 112, "save the file in UTF-8 and name that in the XML declaration"},
    {"nsupported encoding", 112, "save the file in UTF-8 and name that in the XML declaration"},
    {"Invalid XML encoding name", 112,
     "save the file in UTF-8 and name that in the XML declaration"},
    {"Document labelled UTF-16", 114, "write encoding=\"UTF-8\" into the XML declaration"},
    {"Char 0x0 out of", 113, "save the file as plain text in UTF-8"},
    {"encoded twice", 114, "save the file in UTF-8"},
    {"Extra content at the end", 115,
     "remove it, or put an element such as \"bundle\" around the plug-ins"},
    {"Start tag expected", 110, "start the document with an element"},
    {"declaration allowed only at the start", 110, "remove what is in front of \"<?xml\""},
    {"EntityRef", 110, R"(write "&amp;" for a "&" that is a character)"},
    {"xmlParseEntityRef", 110, R"(write "&amp;" for a "&" that is a character)"},
    {"Entity '", 110, "write the character itself, or its number as in \"&#160;\""},
    {"AttValue: \" or ' expected", 110, "put the attribute's value between quotes"},
    {"Unescaped '<' not allowed", 110, R"(write "&lt;" for "<", or close the quotes before it)"},
    {"invalid element name", 110, R"(write "&lt;" for a "<" that is a character)"},
    {"mandates value", 110, "give the attribute a value between quotes"},
    {"attributes construct error", 110, "put a blank in front of each attribute"},
    {"redefined", 110, "write each attribute once"},
    {"Comment not terminated", 110, "end the comment with \"-->\""},
    {"Double hyphen within comment", 110, "write no \"--\" in a comment"},
    {"Namespace prefix", 110, "declare the prefix with \"xmlns:\", or leave it out"},
};

known_report const& known(std::string const& message) {
    static constexpr known_report other = {"", 110, "correct the XML there"};
    auto const* const found =
        std::find_if(std::begin(k_known), std::end(k_known),
                     [&](known_report const& each) { return has(message, each.part); });
    return found != std::end(k_known) ? *found : other;
}

// Where the document ends too soon, the XML library may name an earlier place.
void report_open_element(markup::open_element const& open, xml_report const& report, reporter& to) {
    auto const [line, column] = to.places().line_and_column(open.start);
    bool const is_at_end = open.closed.empty();
    bool const is_slip = !is_at_end && !open.is_closed_later;
    std::string const tag = "\"</" + std::string(open.name.substr(0, k_longest_tag)) + ">\"";
    to.add_at(
        111,
        is_at_end ? to.places().line_and_column(to.places().text().size())
                  : std::make_pair(report.line, report.column),
        "the element " + named(open.name) + " of line " + std::to_string(line) + ", column " +
            std::to_string(column) + " is not closed where " +
            (is_at_end ? "the document ends" : "the end tag of " + named(open.closed) + " comes"),
        is_slip ? "write " + tag + " instead of that end tag" : "add " + tag);
}

// Whether the report is about tags that do not nest.
bool is_about_nesting(std::string const& message) {
    return has(message, "tag mismatch") || has(message, "Premature end of data") ||
           has(message, "Extra content") || has(message, "expected '>'") ||
           has(message, "EndTag") || has(message, "Couldn't find end of Start Tag");
}

std::string in_one_line(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

// A limit of the library's reader, or an encoding that it refuses itself. Some name a line.
void report_refusal(std::string const& reason, reporter& to) {
    auto const& about = known(reason);
    bool const is_limit = about.rule == 110;
    constexpr std::string_view k_mark = "line ";
    int line = 0;
    if (auto const at = reason.find(k_mark); at != std::string::npos) {
        char const* const start = reason.c_str() + at + k_mark.size();
        std::from_chars(start, reason.c_str() + reason.size(), line);
    }
    to.add_at(is_limit ? 116 : about.rule, {line, 0}, "the library refuses the document: " + reason,
              is_limit ? "make the document smaller or simpler" : about.repair);
}

// What the XML library says of a document without elements, and of a text in front of the first.
bool is_about_start(std::string const& message) {
    return has(message, "Document is empty") || has(message, "Start tag expected") ||
           has(message, "Extra content");
}

// More than the XML library says; false when that is all there is to say.
bool report_in_other_words(xml_report const& report, reporter& to) {
    auto const& places = to.places();
    auto const& open = places.still_open();
    // A "<" alone at the end opens nothing that has a name.
    if (open && !open->name.empty() && is_about_nesting(report.message)) {
        report_open_element(*open, report, to);
        return true;
    }
    if (is_about_start(report.message) && places.elements().empty()) {
        to.add_at(119, {report.line, report.column}, "the document has no element",
                  "describe the plug-in in an element \"plugin\"");
        return true;
    }
    if (has(report.message, "Document is empty")) {
        to.add_at(110, {report.line, report.column},
                  "the document does not start with an element or an XML declaration",
                  "remove what is in front of " + named(places.elements().front().name));
        return true;
    }
    if (has(report.message, "Comment not terminated")) {
        to.add(110, std::min(places.text().rfind("<!--"), places.text().size()),
               "the comment that starts here is not closed", "end it with \"-->\"");
        return true;
    }
    return false;
}

}  // namespace

void report_xml_fault(reading const& read, utf8_copy const& copy, reporter& to) {
    if (!copy.is_whole) {
        to.add(113, copy.text.size(),
               "the bytes from here on are not valid in " + named(copy.encoding),
               "save the file in the encoding that its XML declaration names");
        return;
    }
    if (read.reports.empty()) {
        report_refusal(read.failure, to);
        return;
    }
    auto const& first = read.reports.front();
    if (report_in_other_words(first, to)) {
        return;
    }
    auto const& about = known(first.message);
    to.add_at(about.rule, {first.line, first.column},
              "the document is not well-formed: " + in_one_line(first.message), about.repair);
}

}  // namespace kivplug
