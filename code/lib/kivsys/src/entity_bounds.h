// Limits on the entities of an XML document: a few bytes of declarations can expand to gigabytes.

#ifndef KIVSYS_ENTITY_BOUNDS_H
#define KIVSYS_ENTITY_BOUNDS_H

#include <string_view>

namespace kivsys::xml {

// Raises es::arg if the references to entities in a document expand to more than 4 MiB in total.
// Also raises it if the document has parameter entities and more than a few references. The text
// must be UTF-8. Declarations and references in comments count as well.
void bound_entities(std::string_view text);

}  // namespace kivsys::xml

#endif
