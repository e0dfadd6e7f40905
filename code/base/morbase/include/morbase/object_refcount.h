// The base of every object that host, library and plug-ins share. The reference count is in the
// object and starts at 0. The first ptr_refcount to a new object takes its first reference;
// releasing the last one deletes it. Create such objects with new, and do not delete them
// yourself. Do not put one on the stack or inside another object: it would be deleted all the
// same. Counting is atomic: any thread may retain and release. Whether the object itself is
// thread-safe is up to its class.
//
// Two traps. Objects that refer to each other are never deleted. A destructor must not create a
// ptr_refcount to its own object: the count would return to 0 and the object would be deleted
// twice.

#ifndef MORBASE_OBJECT_REFCOUNT_H
#define MORBASE_OBJECT_REFCOUNT_H

#include <atomic>

#include <morbase/export.h>

namespace morbase {

class MORBASE_API object_refcount {
  public:
    // Runs on the thread that releases the last reference. Virtual, so that the module that
    // created an object destroys it, whichever module releases it last.
    virtual ~object_refcount();

    // Takes a reference. The caller already has one or has just created the object, so relaxed
    // order is enough.
    void retain() const noexcept { references.fetch_add(1, std::memory_order_relaxed); }

    // Releases a reference; deletes the object if it was the last. The thread that deletes it
    // sees everything that other threads did with the object before they released it.
    void release() const noexcept {
        if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

  protected:
    object_refcount() noexcept = default;

    // The count is not copied: a copy starts without references, and assignment changes neither
    // count.
    object_refcount(object_refcount const& /*other*/) noexcept {}
    object_refcount& operator=(object_refcount const& /*other*/) noexcept { return *this; }

  private:
    mutable std::atomic<unsigned int> references{0};
};

}  // namespace morbase

#endif
