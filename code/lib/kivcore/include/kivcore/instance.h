// Typed creation for hosts. An instance owns an object of a plug-in together with
// what must outlive it, and releases them in order: the object, the factory that
// made it, the registry. It moves and does not copy. One thread at a time uses an
// instance; the object asks what its interface asks.
//
//     auto file = kivcore::create<kivcore::reader>(registry, "io/read/gzip/kivcore/1.0");
//     if (file && file->open("input.gz", "r") == 0) ...

#ifndef KIVCORE_INSTANCE_H
#define KIVCORE_INSTANCE_H

#include <string>
#include <utility>

#include <kivcore/plugin.h>
#include <kivcore/plugins.h>
#include <morbase/ptr_refcount.h>

namespace kivcore {

// Interface: a class derived from kivcore::plugin, or another one that the object is too.
template <typename Interface>
class instance {
  public:
    // Holds nothing.
    instance() noexcept = default;

    // The other one holds nothing afterwards. What an assignment replaces is released at
    // once, in the order above.
    instance(instance&& other) noexcept { swap(other); }
    instance& operator=(instance&& other) noexcept {
        instance(std::move(other)).swap(*this);
        return *this;
    }

    instance(instance const&) = delete;
    instance& operator=(instance const&) = delete;
    ~instance() = default;

    // The object, null when there is none. It lives as long as the instance: a
    // ptr_refcount that outlived the instance may be left with an object without its code.
    Interface* get() const noexcept { return object; }
    Interface* operator->() const noexcept { return object; }
    Interface& operator*() const noexcept { return *object; }
    explicit operator bool() const noexcept { return object != nullptr; }

    void swap(instance& other) noexcept {
        std::swap(registry, other.registry);
        std::swap(maker, other.maker);
        std::swap(owned, other.owned);
        std::swap(object, other.object);
    }

  private:
    template <typename I>
    friend instance<I> create(morbase::ptr_refcount<plugins> const& registry,
                              std::string const& id);

    // Destroyed from the last to the first.
    morbase::ptr_refcount<plugins> registry;
    morbase::ptr_refcount<plugins::factory> maker;
    morbase::ptr_refcount<plugin> owned;
    Interface* object = nullptr;  // what `owned` holds, as the interface
};

// A new object of the plug-in with this id, as an Interface. Holds nothing when the
// id is unknown, when the object is not of that interface, and without a registry.
// What the plug-in's factory throws passes through. Any thread may call this, but no
// create() of a plug-in in this registry: that raises es::call.
template <typename Interface>
instance<Interface> create(morbase::ptr_refcount<plugins> const& registry, std::string const& id) {
    instance<Interface> made;
    if (!registry) {
        return made;
    }
    made.registry = registry;
    made.owned = registry->create_with_id(id, made.maker);
    made.object = dynamic_cast<Interface*>(made.owned.get());
    return made.object != nullptr ? std::move(made) : instance<Interface>();
}

}  // namespace kivcore

#endif
