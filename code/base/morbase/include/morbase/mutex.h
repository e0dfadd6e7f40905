// Mutual exclusion between threads, usable with std::lock_guard<morbase::mutex const>. The thread
// that holds a recursive mutex may lock it again, and must unlock it as many times. If the thread
// that holds a plain mutex locks it again, an exception is raised instead of a deadlock.

#ifndef MORBASE_MUTEX_H
#define MORBASE_MUTEX_H

#include <pthread.h>

#include <atomic>

#include <morbase/export.h>

namespace morbase {

namespace detail {

// Its address identifies the thread. Because of the initial-exec model, taking the address needs
// no function call. If a process loads this library with dlopen, this takes a byte from the small
// reserve of static thread-local storage that platforms keep.
extern MORBASE_API __thread char const k_this_thread __attribute__((tls_model("initial-exec")));

}  // namespace detail

class MORBASE_API mutex {
  public:
    // may_nest makes it recursive. Raises es::call if the platform cannot create another mutex.
    explicit mutex(bool may_nest);
    ~mutex();

    mutex(mutex const&) = delete;
    mutex& operator=(mutex const&) = delete;

    // Waits until the mutex is free, then locks it. Raises es::call ("mutex is already locked by
    // this thread") if it is not recursive and the calling thread holds it. Also raises es::call
    // if a recursive mutex is locked too many times.
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

    // Unlocks the mutex. Only the thread that holds it may call this.
    void unlock() const noexcept {
        owner.store(nullptr, std::memory_order_relaxed);
        pthread_mutex_unlock(&handle);
    }

  private:
    [[noreturn]] static void raise_already_locked();
    [[noreturn]] static void raise_cannot_lock();

    mutable pthread_mutex_t handle;
    // The thread that holds a plain mutex, or null; meaningless for a recursive one. A thread
    // finds its own address here only if it stored it itself, so relaxed order is enough.
    mutable std::atomic<char const*> owner{nullptr};
    bool recursive;
};

}  // namespace morbase

#endif
