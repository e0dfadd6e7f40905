// The command line. A new verb is its options, one function that adds it in
// arguments.cpp, and its work in a source of its own.

#ifndef KIVPLUG_ARGUMENTS_H
#define KIVPLUG_ARGUMENTS_H

#include <functional>
#include <string>
#include <vector>

#include "browse.h"
#include "descriptor.h"
#include "host.h"
#include "inspect.h"
#include "media.h"
#include "transfer.h"
#include "watch.h"

namespace CLI {  // NOLINT(readability-identifier-naming): the library's own name
class App;
}

namespace kivplug {

struct command_line {
    std::vector<std::string> directories;
    list_options list;
    describe_options describe;
    read_options read;
    write_options write;
    browse_options browse;
    tracks_options tracks;
    frames_options frames;
    files_options files;
    watch_options watch;

    // The verb that was chosen.
    std::function<void(host const&, byte_sink&)> work;
};

// Has app fill line, which outlives it, when it parses.
void add_arguments(CLI::App& app, command_line& line);

}  // namespace kivplug

#endif
