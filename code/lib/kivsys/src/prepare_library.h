#ifndef KIVSYS_PREPARE_LIBRARY_H
#define KIVSYS_PREPARE_LIBRARY_H

namespace kivsys::xml {

// Prepares the XML library, once, before anything else asks it for something. Raises
// std::bad_alloc when memory runs out. Any thread may call it.
void prepare_library();

}  // namespace kivsys::xml

#endif
