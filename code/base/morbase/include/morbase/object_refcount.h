// The base of every object that host, library and plug-ins share. The count of
// its references lives in the object and starts at 0: the first ptr_refcount
// that takes a new object holds its first reference, and the release of the
// last one deletes it. Make such objects with new, and let no one else delete
// them. Counting is atomic: any thread may retain and release.

#ifndef MORBASE_OBJECT_REFCOUNT_H
#define MORBASE_OBJECT_REFCOUNT_H

#include <atomic>

#include <morbase/export.h>

namespace morbase {

class MORBASE_API object_refcount {
  public:
    virtual ~object_refcount();

    // Takes one reference.
    void retain() const noexcept { references.fetch_add(1, std::memory_order_relaxed); }

    // Gives one reference back; deletes the object when it was the last.
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
