// What the plug-ins of the scoreboard do wrong. ON_OPENING and ON_CREATING may name one of these
// functions: for the start of the shared object, and for the creation of an object.

#ifndef SCOREBOARD_FAULTS_H
#define SCOREBOARD_FAULTS_H

#include <cstdlib>
#include <stdexcept>

extern "C" void function_that_nobody_defines();

namespace {

[[maybe_unused]] void crash() {
    int* volatile const nowhere = nullptr;
    *nowhere = 1;
}

// With a status that no host of the scoreboard returns.
[[maybe_unused]] void leave() {
    std::exit(7);
}

[[maybe_unused]] void hang() {
    for (bool volatile is_forever = true; is_forever;) {
    }
}

[[maybe_unused]] void fail() {
    throw std::runtime_error("no licence");
}

// Each plug-in calls this when it creates its object.
inline void create_faultily() {
#ifdef ON_CREATING
    ON_CREATING();
#endif
}

#ifdef ON_OPENING
struct opened {
    opened() { ON_OPENING(); }
} const at_opening;
#endif

}  // namespace

#endif
