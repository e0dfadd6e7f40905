// The calling thread's error state in the XML library belongs to the host: its structured
// error handler, which the library would prefer to a reader's own, and its last error.

#ifndef KIVSYS_HOST_ERRORS_ASIDE_H
#define KIVSYS_HOST_ERRORS_ASIDE_H

#include <kivsys/export.h>

namespace kivsys::xml {

// Sets that state aside while it lives, and puts it back at its end, on the same thread. Readers
// do so in each of their calls. Whoever makes many calls in a row saves time with one around
// them all: within it, others do nothing. Raises std::bad_alloc when memory runs out in the
// first call of all.
class KIVSYS_API host_errors_aside {
  public:
    host_errors_aside();
    ~host_errors_aside();

    host_errors_aside(host_errors_aside const&) = delete;
    host_errors_aside& operator=(host_errors_aside const&) = delete;
};

}  // namespace kivsys::xml

#endif
