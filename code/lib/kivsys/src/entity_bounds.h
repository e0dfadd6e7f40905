// How much the entities of an XML document make of it. A few bytes that declare them can
// stand for gigabytes.

#ifndef KIVSYS_ENTITY_BOUNDS_H
#define KIVSYS_ENTITY_BOUNDS_H

#include <string_view>

namespace kivsys::xml {

// Raises es::arg when the entities that a document refers to take more than 4 MiB in the places
// of the references, and when it has more than a few references beside parameter entities. The
// text is in UTF-8. What stands in comments counts as well.
void bound_entities(std::string_view text);

}  // namespace kivsys::xml

#endif
