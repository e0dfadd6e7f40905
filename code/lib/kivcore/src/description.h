// What the registry and the factories ask of a description.

#ifndef KIVCORE_DESCRIPTION_H
#define KIVCORE_DESCRIPTION_H

#include <string>

#include <kivcore/plugins.h>

namespace kivcore {

// The value under a key; empty for a key that is not there.
inline std::string value_of(plugins::info const& description, std::string const& key) {
    std::string value;
    description.get(key, value);
    return value;
}

}  // namespace kivcore

#endif
