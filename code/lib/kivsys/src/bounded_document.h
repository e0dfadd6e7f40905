// A document in memory that may come from a stranger, with bounds within which the XML
// library's time and memory for it stay in proportion to its size.

#ifndef KIVSYS_BOUNDED_DOCUMENT_H
#define KIVSYS_BOUNDED_DOCUMENT_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <kivsys/readxml_base.h>

#include "utf8_text.h"

namespace kivsys::xml {

class bounded_document {
  public:
    // Whether a document is whole and too small to be beyond any of the bounds.
    static bool needs_no_bounds(utf8_document const& document) noexcept;

    // The document outlives this. Raises es::arg when its entities are beyond their bounds.
    explicit bounded_document(utf8_document const& document);

    // Gives the parser the next bytes. It asks for more while it cannot parse what it has: -1
    // when that takes too many, and where a document breaks off.
    int give(_xmlTextReader* parser, char* target, int capacity) noexcept;

    // The bound that the document went beyond with the parser's last advance; empty while it is
    // within all.
    std::string exceeded(_xmlTextReader* parser);

  private:
    bool awaits_end_of_comment(_xmlTextReader* parser) noexcept;
    std::string exceeded_by_type(_xmlTextReader* parser);
    std::string exceeded_by_names();
    std::string exceeded_by_attributes(_xmlTextReader* parser);

    std::string const& whole;
    std::string const& failure;  // at its end

    std::size_t given = 0;           // bytes that the parser has
    std::size_t given_here = 0;      // how many of them when it came to `place`
    std::pair<int, int> place;       // the line and column up to which it has parsed
    std::size_t comment_end = 0;     // of the last long comment
    bool has_failed = false;         // at the end
    bool is_piece_too_long = false;  // the one that begins at `place`

    std::size_t named = 0;       // elements and processing instructions so far
    std::size_t attributes = 0;  // of all elements so far
    std::size_t most_attributes;
    std::vector<std::size_t> around;  // of the current element and those around it, by depth
};

}  // namespace kivsys::xml

#endif
