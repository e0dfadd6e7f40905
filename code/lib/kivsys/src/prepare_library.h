#ifndef KIVSYS_PREPARE_LIBRARY_H
#define KIVSYS_PREPARE_LIBRARY_H

namespace kivsys::xml {

// Initialises the XML library once. Call it before any other use of that library. Raises
// std::bad_alloc if memory runs out. Any thread may call it.
void prepare_library();

}  // namespace kivsys::xml

#endif
