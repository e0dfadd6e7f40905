// Disables cancellation of the calling thread (pthread_cancel) while it lives. glibc cancels a
// thread by unwinding its stack. That terminates the process at a destructor, at a noexcept
// callback, and at a catch (...) that does not rethrow. In the dynamic linker it leaves locks
// held.

#ifndef KIVCORE_CANCELLATION_H
#define KIVCORE_CANCELLATION_H

#include <pthread.h>

namespace kivcore {

class cancellation_put_off {
  public:
    cancellation_put_off() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former); }
    ~cancellation_put_off() { pthread_setcancelstate(former, nullptr); }

    cancellation_put_off(cancellation_put_off const&) = delete;
    cancellation_put_off& operator=(cancellation_put_off const&) = delete;

  private:
    int former = PTHREAD_CANCEL_ENABLE;
};

}  // namespace kivcore

#endif
