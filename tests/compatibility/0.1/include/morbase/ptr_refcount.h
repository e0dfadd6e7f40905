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

    ptr_refcount() noexcept = default;

    ptr_refcount(T* object) noexcept : pointee(object) { retain(); }
    ptr_refcount(ptr_refcount const& other) noexcept : pointee(other.pointee) { retain(); }
    ptr_refcount(ptr_refcount&& other) noexcept : pointee(std::exchange(other.pointee, nullptr)) {}

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

    ptr_refcount& operator=(ptr_refcount other) noexcept {
        swap(other);
        return *this;
    }

    T* get() const noexcept { return pointee; }
    T* operator->() const noexcept { return pointee; }
    T& operator*() const noexcept { return *pointee; }
    explicit operator bool() const noexcept { return pointee != nullptr; }

    void swap(ptr_refcount& other) noexcept { std::swap(pointee, other.pointee); }

    friend void swap(ptr_refcount& a, ptr_refcount& b) noexcept { a.swap(b); }

    friend bool operator==(ptr_refcount const& a, ptr_refcount const& b) noexcept {
        return a == b.get();
    }
    friend bool operator!=(ptr_refcount const& a, ptr_refcount const& b) noexcept {
        return a != b.get();
    }
    friend bool operator<(ptr_refcount const& a, ptr_refcount const& b) noexcept {
        return a < b.get();
    }

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
