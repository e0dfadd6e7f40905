// The markup of an XML document, with its places. The library's own reader decides what a document
// means; this only finds where it says so.

#ifndef KIVPLUG_CHECK_MARKUP_H
#define KIVPLUG_CHECK_MARKUP_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kivplug {

constexpr std::size_t k_nowhere = static_cast<std::size_t>(-1);

// Places are offsets into the text. Elements are in document order, so those inside an element
// come right after it.
struct markup_element {
    std::string_view name;
    std::size_t start;        // of "<"
    std::size_t content;      // after the start tag
    std::size_t content_end;  // of the end tag; the same as content for <a/>
    std::size_t end;          // after the end tag
    std::size_t parent;       // an element, or k_nowhere
    std::size_t next;         // the first element that is not inside this one
    std::size_t first_piece;  // the first piece after the start tag
};

struct markup_attribute {
    std::string name;
    std::string value;
    std::size_t start;  // of the name
};

// What is between tags.
struct markup_piece {
    enum class kind { text, section, reference, other };  // "other": not part of any text

    kind of;
    std::size_t start;
    std::size_t end;
    std::size_t element;  // directly around it, or k_nowhere
};

class markup {
  public:
    // An element that is still open where the document ends, or where an end tag closes another.
    struct open_element {
        std::size_t element;
        std::size_t end;          // of the document, or the start of that end tag
        std::string_view closed;  // the name in the end tag; empty at the end of the document
        bool is_inside;           // whether the element that is closed, or any other, is around it
    };

    // Takes a text in UTF-8. Stops at the first element that is still open, and at a tag, comment
    // or other construct that does not end.
    explicit markup(std::string document);

    markup(markup const&) = delete;
    markup& operator=(markup const&) = delete;

    std::vector<markup_element> const& elements() const { return all_elements; }
    std::vector<markup_piece> const& pieces() const { return all_pieces; }
    std::optional<open_element> const& still_open() const { return first_open; }
    std::optional<std::size_t> unended() const { return first_unended; }

    // An element's attributes, in their order.
    std::vector<markup_attribute> attributes(std::size_t element) const;

    // The characters of a piece of text, references to characters resolved.
    std::string text_of(markup_piece const& piece) const;
    bool is_blank(markup_piece const& piece) const;

    std::string const& text() const { return whole; }

    // The line and the column of a place, in bytes, from 1.
    std::pair<int, int> line_and_column(std::size_t place) const;

    // Where a line starts, or k_nowhere.
    std::size_t start_of_line(int line) const;

    // The first element of a line, or k_nowhere.
    std::size_t first_element_of_line(int line) const;

  private:
    void scan();
    void add_text(std::size_t end);
    void add_piece(markup_piece::kind of, std::size_t end);
    void add_start_tag();
    void close_element();
    std::size_t after(std::string_view mark, std::size_t skipped);
    std::size_t end_of_tag();
    std::size_t end_of_document_type();

    std::string const whole;
    std::size_t at = 0;             // while it is scanned
    std::vector<std::size_t> open;  // the same
    std::vector<markup_element> all_elements;
    std::vector<markup_piece> all_pieces;
    std::vector<std::size_t> line_starts;
    std::optional<open_element> first_open;
    std::optional<std::size_t> first_unended;
};

// The name of an element without its namespace prefix.
std::string_view local_name(std::string_view name);

}  // namespace kivplug

#endif
