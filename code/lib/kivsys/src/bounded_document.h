// A document in memory that may come from an untrusted source. Its limits keep the XML library's
// time and memory proportional to the size of the document.

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
    // Whether a document is complete and too small to exceed any limit.
    static bool needs_no_bounds(utf8_document const& document) noexcept;

    // The document must outlive this object. Raises es::arg if its entities exceed their limits.
    explicit bounded_document(utf8_document const& document);

    // Copies the next bytes to target and returns their number. The parser calls this as long as
    // it cannot parse what it has. Returns -1 if it then needs too many bytes, or if the document
    // breaks off.
    int give(_xmlTextReader* parser, char* target, int capacity) noexcept;

    // Describes the limit that the parser's last advance exceeded; empty if there is none.
    std::string exceeded(_xmlTextReader* parser);

  private:
    bool awaits_end_of_comment(_xmlTextReader* parser) noexcept;
    std::string exceeded_by_type(_xmlTextReader* parser);
    std::string exceeded_by_names();
    std::string exceeded_by_attributes(_xmlTextReader* parser);

    std::string const& whole;
    std::string const& failure;  // why the document breaks off; empty if it does not

    std::size_t given = 0;           // bytes passed to the parser
    std::size_t given_here = 0;      // value of `given` when the parser reached `place`
    std::pair<int, int> place;       // line and column up to which it has parsed
    std::size_t comment_end = 0;     // of the last long comment
    bool has_failed = false;         // the document breaks off
    bool is_piece_too_long = false;  // the piece that begins at `place`

    std::size_t named = 0;       // elements and processing instructions so far
    std::size_t attributes = 0;  // of all elements so far
    std::size_t most_attributes;
    std::vector<std::size_t> around;  // of the current element and its ancestors, by depth
};

}  // namespace kivsys::xml

#endif
