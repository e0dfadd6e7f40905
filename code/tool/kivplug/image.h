// The check of a shared object before it is opened. The dynamic linker maps what the file's headers
// promise and runs it: a file that is cut short ends the process, and opening a FIFO in its place
// never returns.

#ifndef KIVPLUG_IMAGE_H
#define KIVPLUG_IMAGE_H

#include <string>

#include "descriptor.h"

namespace kivplug {

enum class image_fault_kind {
    none,
    not_regular,
    empty,
    not_elf,
    cut_short,
    other_machine,
    only_debug
};

struct image_fault {
    image_fault_kind kind = image_fault_kind::none;
    std::string problem;  // the end of a sentence that begins with the file
    std::string repair;
};

// What is wrong with the file at path. Nothing when it is missing or cannot be read: the dynamic
// linker refuses that by itself.
image_fault fault_of_image(std::string const& path);

// Whether code of this process comes from the file.
bool is_mapped_image(file_identity const& file);

}  // namespace kivplug

#endif
