// The text of an XML document in UTF-8, whatever its own encoding is: so that what is looked
// for in it is found as the XML library finds it.

#ifndef KIVSYS_UTF8_TEXT_H
#define KIVSYS_UTF8_TEXT_H

#include <string>

namespace kivsys::xml {

// Converts a document to UTF-8 from the encoding that its first bytes or its XML declaration
// tell of. The declaration still names that encoding: it is to be parsed with
// XML_PARSE_IGNORE_ENC. Raises es::arg when the encoding is unknown, and when the document is
// not valid in it; one that is in UTF-8 already is not checked. The XML library is prepared.
std::string utf8_text(std::string text);

}  // namespace kivsys::xml

#endif
