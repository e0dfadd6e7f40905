#include "kivsys/severity.h"

#include <array>

namespace kivsys {

char const* cstr_with_severity(_severity::severity level) noexcept {
    static constexpr std::array<char const*, 8> k_names = {
        "DEBUG", "INFO", "NOTICE", "WARNING", "ERROR", "CRITICAL", "ALERT", "EMERGENCY"};
    return level < k_names.size() ? k_names[level] : "UNKNOWN";
}

}  // namespace kivsys
