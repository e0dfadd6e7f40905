// What a shared object shows to others, and what keeps it in memory after it is closed.

#ifndef KIVPLUG_CHECK_OBJECT_EXPORTS_H
#define KIVPLUG_CHECK_OBJECT_EXPORTS_H

#include "elf_object.h"
#include "finding.h"
#include "wording.h"

namespace kivplug {

// Exports besides those that a description binds.
void check_exports(elf_object const& object, symbol_names const& bound, findings& found);

// What keeps a closed object in memory, or makes the memory of the host less safe.
void check_behaviour(elf_object const& object, findings& found);

}  // namespace kivplug

#endif
