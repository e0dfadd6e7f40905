#include "xml_faults.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "markup_text.h"
#include "unclosed.h"

namespace kivplug {

namespace {

constexpr std::size_t k_looked_at = 4096;  // bytes, for whether they are a text

bool has(std::string const& text, char const* part) {
    return text.find(part) != std::string::npos;
}

// What to do about a report of the XML library, by a part of its text.
struct known_report {
    char const* part;
    int rule;
    char const* repair;
};

constexpr char const* k_save_as_declared =
    "save the file in the encoding that its XML declaration names";
constexpr char const* k_save_in_utf8 =
    "save the file in UTF-8 and name that in the XML declaration";
constexpr char const* k_write_reference = R"(write "&amp;" for a "&" that is a character)";
constexpr char const* k_write_declaration =
    R"(write "<?xml version="1.0" encoding="UTF-8"?>", at the start of the file)";

constexpr known_report k_known[] = {
    {"not proper UTF-8", 113,
     "save the file in UTF-8, or name its encoding in the XML declaration"},
    {"Invalid bytes in character encoding", 113, k_save_as_declared},
    {"not valid in its encoding", 113, k_save_as_declared},
    {"input conversion failed", 113, k_save_as_declared},
    {"nsupported encoding", 112, k_save_in_utf8},
    {"Invalid XML encoding name", 112, k_save_in_utf8},
    {"Document labelled UTF-16", 114, "write encoding=\"UTF-8\" into the XML declaration"},
    {"Char 0x0 out of", 113, "save the file as plain text in UTF-8"},
    {"encoded twice", 114, "save the file in UTF-8"},
    {"Extra content at the end", 115,
     "remove it, or put an element such as \"bundle\" around the plug-ins"},
    {"Excessive depth", 116, "nest the elements less deeply"},
    {"Start tag expected", 110, "start the document with an element"},
    {"declaration allowed only at the start", 110, "remove what is before \"<?xml\""},
    {"parsing XML declaration", 110, k_write_declaration},
    {"Malformed declaration", 110, k_write_declaration},
    {"Unsupported version", 110, k_write_declaration},
    {"Invalid PI name", 110, k_write_declaration},
    {"EntityRef", 110, k_write_reference},
    {"xmlParseEntityRef", 110, k_write_reference},
    {"Entity '", 110, "write the character itself, or its number as in \"&#160;\""},
    {"AttValue: \" or ' expected", 110, "put the attribute's value between quotes"},
    {"Unescaped '<' not allowed", 110, R"(write "&lt;" for "<", or close the quotes before it)"},
    {"invalid element name", 110,
     R"(write a name right after "<", or "&lt;" for a "<" that is a character)"},
    {"error parsing attribute name", 110,
     R"(write "&lt;" for a "<" that is a character, or correct the attribute)"},
    {"mandates value", 110, "give the attribute a value between quotes"},
    {"attributes construct error", 110, "put a blank before each attribute"},
    {"redefined", 110, "write each attribute once"},
    {"Double hyphen within comment", 110, "write no \"--\" in a comment"},
    {"Namespace prefix", 110, "declare the prefix with \"xmlns:\", or leave it out"},
    {"invalid Char", 110, "remove the control character"},
    {"invalid xmlChar", 110, "remove the reference to a control character"},
    {"expected '>'", 110, "write only the name in an end tag"},
};

known_report const& known(std::string const& message) {
    static constexpr known_report other = {"", 110, "correct the XML there"};
    auto const* const found =
        std::find_if(std::begin(k_known), std::end(k_known),
                     [&](known_report const& each) { return has(message, each.part); });
    return found != std::end(k_known) ? *found : other;
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

// What the XML library says of a document without elements, and of a text before the first.
bool is_about_start(std::string const& message, markup const& places) {
    return has(message, "Document is empty") || has(message, "Start tag expected") ||
           (has(message, "Extra content") && places.elements().empty());
}

bool is_binary(std::string const& text) {
    auto const start = std::string_view(text).substr(0, k_looked_at);
    return std::any_of(start.begin(), start.end(), [](char each) {
        return static_cast<unsigned char>(each) < ' ' && !is_blank({&each, 1});
    });
}

// What is before the first element, or all there is.
void report_start(xml_report const& report, reporter& to) {
    auto const& places = to.places();
    std::pair<int, int> const place = {report.line, report.column};
    if (is_binary(places.text())) {
        to.add_at(110, place, "the file has control characters: it is not a text",
                  "put the description there, as a text");
    } else if (places.elements().empty()) {
        to.add_at(119, place, "the document has no element",
                  "describe the plug-in in an element \"plugin\"");
    } else {
        to.add_at(110, place, "the document does not start with an element or an XML declaration",
                  "remove what is before the first \"<\"");
    }
}

bool is_conflict_mark(int line, markup const& places) {
    constexpr std::string_view k_mark = "<<<<<<<";
    auto const start = places.start_of_line(line);
    return start != k_nowhere && places.text().compare(start, k_mark.size(), k_mark) == 0;
}

// More than the XML library says; false when that is all there is to say.
bool report_in_other_words(xml_report const& report, reporter& to) {
    auto const& places = to.places();
    auto const& open = places.still_open();
    if (is_conflict_mark(report.line, places)) {
        to.add_at(110, {report.line, 1},
                  "a version control system left the mark of a conflict here",
                  "decide for one version, and remove the marks");
        return true;
    }
    if (places.unended() && !has(report.message, "Unescaped '<'") &&
        places.line_and_column(*places.unended()) <= std::pair(report.line, report.column)) {
        report_unended(*places.unended(), to);
        return true;
    }
    if (is_about_start(report.message, places)) {
        report_start(report, to);
        return true;
    }
    // A "<" alone at the end opens nothing that has a name.
    if (open && !places.elements()[open->element].name.empty() &&
        is_about_nesting(report.message)) {
        report_open_element(*open, to);
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
