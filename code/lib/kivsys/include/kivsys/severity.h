// How severe a message is, and the names of the eight levels. A larger number is more severe.

#ifndef KIVSYS_SEVERITY_H
#define KIVSYS_SEVERITY_H

#include <kivsys/export.h>

namespace kivsys {

// Holds the enumeration, so that its short names stay out of kivsys itself.
struct _severity {  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): public name
    // The numbers are part of the interface of plug-ins. The underlying type is fixed, so that a
    // value from outside that is not listed is not undefined behaviour.
    enum severity : unsigned int {
        k_debug = 0,
        k_info = 1,
        k_notice = 2,
        k_warning = 3,
        k_error = 4,
        k_critical = 5,
        k_alert = 6,
        k_emergency = 7
    };
};

// The name of a level in capitals ("DEBUG" to "EMERGENCY"), or "UNKNOWN" for any other value. The
// text is static: do not free it. Any thread may call this.
KIVSYS_API char const* cstr_with_severity(_severity::severity level) noexcept;

}  // namespace kivsys

#endif
