#include "prepare_library.h"

#include <new>

#include <libxml/parser.h>
#include <libxml/relaxng.h>
#include <libxml/xmlschemastypes.h>

namespace kivsys::xml {

// The XML library must be initialised by one thread before several use it. It does not initialise
// its schema types itself, so their first use would be a race.
void prepare_library() {
    static bool const prepared = [] {
        xmlInitParser();
        xmlSchemaInitTypes();
        if (xmlRelaxNGInitTypes() != 0) {
            throw std::bad_alloc();
        }
        return true;
    }();
    static_cast<void>(prepared);
}

}  // namespace kivsys::xml
