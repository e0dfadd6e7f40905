// The command line. A new verb needs its options, a function in arguments.cpp that adds it, and a
// source file for its work.

#ifndef KIVPLUG_ARGUMENTS_H
#define KIVPLUG_ARGUMENTS_H

#include <functional>
#include <string>
#include <vector>

#include "browse.h"
#include "check/check.h"
#include "contract/contract.h"
#include "descriptor.h"
#include "host.h"
#include "inspect.h"
#include "media.h"
#include "transfer.h"
#include "watch.h"
#include "why.h"

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
    view_options tracks;
    frames_options frames;
    view_options files;
    view_options watch;
    check_options check;
    why_options why;
    contract_options contract;
    std::string help;                // the verb to explain; empty for kivplug itself
    std::vector<std::string> typed;  // the words that a shell completes

    // Does what the chosen verb does. False when something in it was not as it should be, and all
    // about that has been printed.
    std::function<bool(byte_sink&)> work;
};

// Makes app fill line when it parses. line must outlive app.
void add_arguments(CLI::App& app, command_line& line);

}  // namespace kivplug

#endif
