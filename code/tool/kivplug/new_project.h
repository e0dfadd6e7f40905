// 'kivplug new': makes the project of a new plug-in from the templates that are installed with the
// program.

#ifndef KIVPLUG_NEW_PROJECT_H
#define KIVPLUG_NEW_PROJECT_H

#include <string>
#include <vector>

#include "descriptor.h"

namespace kivplug {

struct new_options {
    std::string name;  // of the plug-in, its directory, targets, functions and classes
    std::string kind = "reader";
    std::string flavor = "native";
    std::string build = "cmake";
    // The fields of the id, or empty for those that fit the kind and the name.
    std::string category;
    std::string type;
    std::string key;
    std::string developer;
};

std::vector<std::string> kinds_of_projects();

// Why nothing can be made from these options; empty if it can. A name must be a sound name of a
// directory, a target and a function, and a field of the id a single word.
std::string objection_to(new_options const& options);

// Makes the directory and its files, and prints what they are. Raises a failure if the directory is
// there already, which changes nothing, or if a file cannot be written; the directory is then
// removed.
void new_project(byte_sink& out, new_options const& options);

}  // namespace kivplug

#endif
