// The calling thread's error state in the XML library belongs to the host. It consists of a
// structured error handler, which the XML library would prefer to a reader's own, and the last
// error.

#ifndef KIVSYS_HOST_ERRORS_ASIDE_H
#define KIVSYS_HOST_ERRORS_ASIDE_H

#include <kivsys/export.h>

namespace kivsys::xml {

// Sets that state aside while it lives. Its destructor, on the same thread, restores the state.
// Readers do this in each call. To save time, create one around a sequence of calls: nested ones
// do nothing. The first constructor call initialises the XML library, and raises std::bad_alloc
// if memory runs out.
class KIVSYS_API host_errors_aside {
  public:
    host_errors_aside();
    ~host_errors_aside();

    host_errors_aside(host_errors_aside const&) = delete;
    host_errors_aside& operator=(host_errors_aside const&) = delete;
};

}  // namespace kivsys::xml

#endif
