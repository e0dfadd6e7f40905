// Compiled once for each implementation of pattern.h. SEAT is the name of the exported function;
// everything else stays hidden in its library.

#include "pattern.h"
#include "pattern_seats.h"

__attribute__((visibility("default"))) std::vector<std::string> support::SEAT(
    std::string const& pattern, std::vector<std::string_view> const& texts) {
    return kivcore::matching(pattern, texts);
}
