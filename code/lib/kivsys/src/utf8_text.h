// The text of an XML document in UTF-8, whatever its own encoding is: so that what is looked
// for in it is found as the XML library finds it.

#ifndef KIVSYS_UTF8_TEXT_H
#define KIVSYS_UTF8_TEXT_H

#include <string>

namespace kivsys::xml {

// Converts a document to UTF-8 from the encoding that its first bytes or its XML declaration
// tell of, and blanks out the name of that encoding. Of a document with an encoding that the
// platform does not know, only the declaration is left: the XML library says what is wrong.
// Raises es::arg when the document is not valid in its encoding; one that is in UTF-8 already
// is not checked.
std::string utf8_text(std::string text);

}  // namespace kivsys::xml

#endif
