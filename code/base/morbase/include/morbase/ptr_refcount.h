// The pointer that holds one reference to an object_refcount, or to nothing.
// Taking a non-null pointer and copying retain; destruction and reassignment
// release. Moving passes the reference on. A ptr_refcount itself is used by one
// thread at a time; the object that it refers to may be shared, through a
// ptr_refcount of each thread's own.
//
// T derives from object_refcount or has a retain and a release of its own. Nothing
// here raises; a destructor of T that does ends the process.

#ifndef MORBASE_PTR_REFCOUNT_H
#define MORBASE_PTR_REFCOUNT_H

#include <functional>
#include <type_traits>
#include <utility>

namespace morbase {

template <typename T>
class ptr_refcount {
  public:
    using element_type = T;

    // Refers to nothing.
    ptr_refcount() noexcept = default;

    // Takes a reference of its own. Implicit, so that a function may return what it made
    // with new. The count lies in the object: several may be made of one plain pointer.
    ptr_refcount(T* object) noexcept : pointee(object) { retain(); }
    ptr_refcount(ptr_refcount const& other) noexcept : pointee(other.pointee) { retain(); }
    ptr_refcount(ptr_refcount&& other) noexcept : pointee(std::exchange(other.pointee, nullptr)) {}

    // To a base of U, or to a constant one, as plain pointers convert.
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

    // By value: the old reference goes only after the new one is held. What its release
    // runs, a destructor for one, finds the new object here already.
    ptr_refcount& operator=(ptr_refcount other) noexcept {
        swap(other);
        return *this;
    }

    // The object, to look at and not to keep: it lives as long as this or another
    // reference does. Null when there is none, which -> and * must not meet.
    T* get() const noexcept { return pointee; }
    T* operator->() const noexcept { return pointee; }
    T& operator*() const noexcept { return *pointee; }
    explicit operator bool() const noexcept { return pointee != nullptr; }

    void swap(ptr_refcount& other) noexcept { std::swap(pointee, other.pointee); }

    friend void swap(ptr_refcount& a, ptr_refcount& b) noexcept { a.swap(b); }

    // Compared by which object it is. The order is total, so that these can be keys.
    friend bool operator==(ptr_refcount const& a, ptr_refcount const& b) noexcept {
        return a == b.get();
    }
    friend bool operator!=(ptr_refcount const& a, ptr_refcount const& b) noexcept {
        return a != b.get();
    }
    friend bool operator<(ptr_refcount const& a, ptr_refcount const& b) noexcept {
        return a < b.get();
    }

    // With a plain pointer as it is: made into a ptr_refcount for the comparison, an object
    // without references would be deleted by it.
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
