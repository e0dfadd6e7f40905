// Cannot be opened: it needs the address of something that no one defines.

extern int const unresolved_nowhere;

__attribute__((visibility("default"))) int const* unresolved_address = &unresolved_nowhere;
