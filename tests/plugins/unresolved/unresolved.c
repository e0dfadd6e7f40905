// Cannot be opened: it needs the address of something that no one defines.

extern int unresolved_nowhere;

// NOLINTNEXTLINE(cppcoreguidelines-interfaces-global-init): the address is wanted, not the value
__attribute__((visibility("default"))) int const* unresolved_address = &unresolved_nowhere;
