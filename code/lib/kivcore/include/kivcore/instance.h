// Typed creation for hosts. An instance owns an object of a plug-in together with what must
// outlive it, and releases them in order: the object, the factory that created it, the registry.
// It can be moved but not copied. Use an instance from one thread at a time; for the object,
// follow the rules of its interface.
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

// Interface: a class derived from kivcore::plugin, or another base class of the object.
template <typename Interface>
class instance {
  public:
    // Holds nothing.
    instance() noexcept = default;

    // The other instance is empty afterwards. An assignment releases what it replaces at once, in
    // the order above.
    instance(instance&& other) noexcept { swap(other); }
    instance& operator=(instance&& other) noexcept {
        instance(std::move(other)).swap(*this);
        return *this;
    }

    instance(instance const&) = delete;
    instance& operator=(instance const&) = delete;
    ~instance() = default;

    // The object, or null if there is none. Use it only while the instance lives: a ptr_refcount
    // that outlives the instance may refer to an object whose code is gone.
    Interface* get() const noexcept { return object; }
    Interface* operator->() const noexcept { return object; }
    Interface& operator*() const noexcept { return *object; }
    explicit operator bool() const noexcept { return object != nullptr; }

    // Exchanges what the two hold.
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
    Interface* object = nullptr;  // the same object as `owned`
};

// A new object of the plug-in with this id, as an Interface. The result is empty if the id is
// unknown, if the object does not implement the interface, or if registry is null. Exceptions of
// the plug-in's factory pass through. Any thread may call this, except within a create() of a
// plug-in in this registry: that raises es::call.
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
