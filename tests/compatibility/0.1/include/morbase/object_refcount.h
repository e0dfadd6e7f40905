#ifndef MORBASE_OBJECT_REFCOUNT_H
#define MORBASE_OBJECT_REFCOUNT_H

#include <atomic>

#include <morbase/export.h>

namespace morbase {

class MORBASE_API object_refcount {
  public:
    virtual ~object_refcount();

    void retain() const noexcept { references.fetch_add(1, std::memory_order_relaxed); }

    void release() const noexcept {
        if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

  protected:
    object_refcount() noexcept = default;

    object_refcount(object_refcount const& /*other*/) noexcept {}
    object_refcount& operator=(object_refcount const& /*other*/) noexcept { return *this; }

  private:
    mutable std::atomic<unsigned int> references{0};
};

}  // namespace morbase

#endif
