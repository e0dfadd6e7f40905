// The check of a shared object before it is opened. The dynamic linker maps what the file's headers
// promise and runs it: a file that is cut short ends the process, and opening a FIFO in its place
// never returns.

#ifndef KIVPLUG_IMAGE_H
#define KIVPLUG_IMAGE_H

#include <string>

#include "descriptor.h"

namespace kivplug {

// What is wrong with the file at path; empty when it is whole. Empty also when it is missing or
// cannot be read: the dynamic linker refuses that by itself.
std::string image_fault(std::string const& path);

// Whether code of this process comes from the file.
bool is_mapped_image(file_identity const& file);

}  // namespace kivplug

#endif
