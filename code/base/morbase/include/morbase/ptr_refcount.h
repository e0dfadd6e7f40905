// A smart pointer that holds one reference to an object_refcount, or is null. Construction from a
// pointer and copying retain; destruction and assignment release. A move transfers the reference.
// Use a ptr_refcount from one thread at a time. Threads may share the object if each has its own
// ptr_refcount.
//
// T derives from object_refcount, or has its own retain and release. Nothing here raises; if the
// destructor of T throws, the process is terminated.

#ifndef MORBASE_PTR_REFCOUNT_H
#define MORBASE_PTR_REFCOUNT_H

#include <functional>
#include <type_traits>
#include <utility>

namespace morbase {

template <typename T>
class ptr_refcount {
  public:
    using element_type = T;  // the class of the object

    // Null.
    ptr_refcount() noexcept = default;

    // Takes a reference. Implicit, so that a function can return the result of new. The count is
    // in the object, so several ptr_refcounts may be made from one plain pointer.
    ptr_refcount(T* object) noexcept : pointee(object) { retain(); }
    ptr_refcount(ptr_refcount const& other) noexcept : pointee(other.pointee) { retain(); }
    ptr_refcount(ptr_refcount&& other) noexcept : pointee(std::exchange(other.pointee, nullptr)) {}

    // Converts as plain pointers do: to a base of U, or to const.
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    ptr_refcount(ptr_refcount<U> const& other) noexcept : pointee(other.get()) {
        retain();
    }
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    ptr_refcount(ptr_refcount<U>&& other) noexcept
        : pointee(std::exchange(other.pointee, nullptr)) {}

    ~ptr_refcount() {
        if (pointee != nullptr) {
            pointee->release();
        }
    }

    // By value: the old reference is released only after the new one is in place. Code that the
    // release runs, for example a destructor, already finds the new object here.
    ptr_refcount& operator=(ptr_refcount other) noexcept {
        swap(other);
        return *this;
    }

    // The object, or null. Borrowed: it lives as long as this or another reference to it. Do not
    // use -> and * on null.
    T* get() const noexcept { return pointee; }
    T* operator->() const noexcept { return pointee; }
    T& operator*() const noexcept { return *pointee; }
    explicit operator bool() const noexcept { return pointee != nullptr; }

    // Exchange the references.
    void swap(ptr_refcount& other) noexcept { std::swap(pointee, other.pointee); }
    friend void swap(ptr_refcount& a, ptr_refcount& b) noexcept { a.swap(b); }

    // Compares addresses. The order is total, so a ptr_refcount can be a key.
    friend bool operator==(ptr_refcount const& a, ptr_refcount const& b) noexcept {
        return a == b.get();
    }
    friend bool operator!=(ptr_refcount const& a, ptr_refcount const& b) noexcept {
        return a != b.get();
    }
    friend bool operator<(ptr_refcount const& a, ptr_refcount const& b) noexcept {
        return a < b.get();
    }

    // Compares with a plain pointer without a temporary ptr_refcount, which would delete an
    // object that has no references yet.
    friend bool operator==(ptr_refcount const& a, T const* b) noexcept { return a.pointee == b; }
    friend bool operator==(T const* a, ptr_refcount const& b) noexcept { return a == b.pointee; }
    friend bool operator!=(ptr_refcount const& a, T const* b) noexcept { return a.pointee != b; }
    friend bool operator!=(T const* a, ptr_refcount const& b) noexcept { return a != b.pointee; }
    friend bool operator<(ptr_refcount const& a, T const* b) noexcept {
        return std::less<T const*>()(a.pointee, b);
    }
    friend bool operator<(T const* a, ptr_refcount const& b) noexcept {
        return std::less<T const*>()(a, b.pointee);
    }

  private:
    template <typename U>
    friend class ptr_refcount;

    void retain() const noexcept {
        if (pointee != nullptr) {
            pointee->retain();
        }
    }

    T* pointee = nullptr;
};

}  // namespace morbase

#endif
