// The cache of the dynamic linker: where ldconfig found the system's libraries.

#ifndef KIVPLUG_CHECK_LINKER_CACHE_H
#define KIVPLUG_CHECK_LINKER_CACHE_H

#include <map>
#include <string>

namespace kivplug {

// Paths by the name that a library is needed under, in the cache's order: one name may have
// libraries of several machines. Empty for a text that is not a cache.
std::multimap<std::string, std::string> libraries_in_cache(std::string const& text);

}  // namespace kivplug

#endif
