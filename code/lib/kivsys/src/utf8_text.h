// The text of an XML document in UTF-8, whatever its own encoding is: so that what is looked
// for in it is found as the XML library finds it.

#ifndef KIVSYS_UTF8_TEXT_H
#define KIVSYS_UTF8_TEXT_H

#include <string>

namespace kivsys::xml {

struct utf8_document {
    std::string text;
    std::string failure{};             // why the document ends with the text; empty at its own end
    bool is_declaration_only = false;  // the encoding is unknown: the XML library says so
};

// Converts a document from the encoding that its first bytes or its XML declaration tell of, up
// to the first byte that is not valid there. A document in UTF-8 is not checked. A whole
// declaration still names the former encoding: it is to be parsed with XML_PARSE_IGNORE_ENC.
// The XML library is prepared. Raises es::arg when the document is encoded twice.
utf8_document utf8_text(std::string text);

}  // namespace kivsys::xml

#endif
