// What could come next on a command line that is being typed, for the shells.

#ifndef KIVPLUG_COMPLETION_H
#define KIVPLUG_COMPLETION_H

#include <string>
#include <vector>

#include "descriptor.h"

namespace CLI {  // NOLINT(readability-identifier-naming): the library's own name
class App;
}

namespace kivplug {

// The verb with this name, or null.
CLI::App const* verb_named(CLI::App const& app, std::string const& name);

// Prints what the last of the words may be, one candidate on each line: verbs, options or ids, each
// followed by a tab and what it means. Prints nothing where a file belongs. The words are those
// after "kivplug"; the last may be empty or incomplete.
void complete(CLI::App const& app, byte_sink& out, std::vector<std::string> const& words);

}  // namespace kivplug

#endif
