// The base of every object that host, library and plug-ins share. The count of
// its references lives in the object and starts at 0: the first ptr_refcount
// that takes a new object holds its first reference, and the release of the
// last one deletes it. Make such objects with new, and let no one else delete
// them: one on the stack or inside another object would be deleted all the same.
// Counting is atomic: any thread may retain and release. The object itself is as
// safe between threads as its class says.
//
// Two traps. Objects that refer to each other are never deleted. And a destructor
// must not hand its own object to a ptr_refcount: the count would come back to 0
// and delete the object a second time.

#ifndef MORBASE_OBJECT_REFCOUNT_H
#define MORBASE_OBJECT_REFCOUNT_H

#include <atomic>

#include <morbase/export.h>

namespace morbase {

class MORBASE_API object_refcount {
  public:
    // Runs on the thread that gives back the last reference. Virtual, so that the code
    // that made an object destroys it, whichever module lets go of it last.
    virtual ~object_refcount();

    // Takes one reference. Whoever does so has another one or has just made the object,
    // so nothing needs to be ordered with it.
    void retain() const noexcept { references.fetch_add(1, std::memory_order_relaxed); }

    // Gives one reference back; deletes the object when it was the last. The thread that
    // deletes sees what all others did with the object before they let go.
    void release() const noexcept {
        if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

  protected:
    object_refcount() noexcept = default;

    // References belong to the object they were taken of: a copy starts without
    // any, and assignment leaves both counts alone.
    object_refcount(object_refcount const& /*other*/) noexcept {}
    object_refcount& operator=(object_refcount const& /*other*/) noexcept { return *this; }

  private:
    mutable std::atomic<unsigned int> references{0};
};

}  // namespace morbase

#endif
