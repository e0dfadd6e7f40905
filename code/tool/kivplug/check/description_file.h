// The file plugin.xml of a plug-in directory, as bytes.

#ifndef KIVPLUG_CHECK_DESCRIPTION_FILE_H
#define KIVPLUG_CHECK_DESCRIPTION_FILE_H

#include <optional>
#include <string>

#include "finding.h"

namespace kivplug {

// What the file has, if the library would read it. Reports why not, and directories that a host
// skips.
std::optional<std::string> description_file(std::string const& directory, findings& found);

}  // namespace kivplug

#endif
