// The text of an XML document in UTF-8, whatever its own encoding, so that a search in it finds
// what the XML library would find.

#ifndef KIVSYS_UTF8_TEXT_H
#define KIVSYS_UTF8_TEXT_H

#include <string>

namespace kivsys::xml {

struct utf8_document {
    std::string text;
    std::string failure{};             // why the text breaks off; empty if it is complete
    bool is_declaration_only = false;  // the encoding is unknown; the XML library reports it
};

// Converts a document from the encoding that its first bytes or its XML declaration indicate, up
// to the first invalid byte. A document in UTF-8 is not checked. The declaration still names the
// old encoding, so parse the result with XML_PARSE_IGNORE_ENC, unless it is only the declaration.
// Call prepare_library first. Raises es::arg if the document is encoded twice.
utf8_document utf8_text(std::string text);

}  // namespace kivsys::xml

#endif
