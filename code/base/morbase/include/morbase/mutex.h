// Mutual exclusion between threads, usable with std::lock_guard<morbase::mutex
// const>. A recursive mutex may be locked again by the thread that holds it and
// is free after as many unlocks. A plain one notices a second lock by its own
// thread and raises instead of hanging for ever.

#ifndef MORBASE_MUTEX_H
#define MORBASE_MUTEX_H

#include <pthread.h>

#include <atomic>

#include <morbase/export.h>

namespace morbase {

namespace detail {

// Its address tells threads apart, and taking that is no call, since it is of the
// initial-exec kind. A process that opens this library late needs a byte of static
// thread-local storage for it, of which platforms keep some.
extern MORBASE_API __thread char const k_this_thread __attribute__((tls_model("initial-exec")));

}  // namespace detail

class MORBASE_API mutex {
  public:
    // Raises es::call when the platform has no room for one more mutex.
    explicit mutex(bool may_nest);
    ~mutex();

    mutex(mutex const&) = delete;
    mutex& operator=(mutex const&) = delete;

    // Waits until the mutex is free and takes it. Raises es::call ("mutex is
    // already locked by this thread") when it is not recursive and the calling
    // thread holds it, and es::call when a recursive one is locked too often.
    void lock() const {
        char const* const self = &detail::k_this_thread;
        if (owner.load(std::memory_order_relaxed) == self && !recursive) {
            raise_already_locked();
        }
        if (pthread_mutex_lock(&handle) != 0) {
            raise_cannot_lock();
        }
        owner.store(self, std::memory_order_relaxed);
    }

    // Gives the mutex back. Only the thread that holds it may call this.
    void unlock() const noexcept {
        owner.store(nullptr, std::memory_order_relaxed);
        pthread_mutex_unlock(&handle);
    }

  private:
    [[noreturn]] static void raise_already_locked();
    [[noreturn]] static void raise_cannot_lock();

    mutable pthread_mutex_t handle;
    // The thread that holds a plain mutex, null while nobody does; of no use in a recursive
    // one. A thread finds itself here only if it stored that, so no order is needed.
    mutable std::atomic<char const*> owner{nullptr};
    bool recursive;
};

}  // namespace morbase

#endif
