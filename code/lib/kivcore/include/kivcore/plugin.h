// The base of every object that a plug-in makes. Such an object is reference
// counted and belongs to whoever holds it. Its code lies in the plug-in's shared
// object, which stays open only while the factory that made the object does: let
// objects go before the registry and its factories, and before a native plug-in
// takes over their id. kivcore::instance keeps that order by itself.

#ifndef KIVCORE_PLUGIN_H
#define KIVCORE_PLUGIN_H

#include <string>

#include <kivcore/export.h>
#include <morbase/object_refcount.h>

namespace kivcore {

// What every interface derives from. A plug-in implements one of the interfaces, or
// derives from this one and names a kind of its own.
class KIVCORE_API plugin : public morbase::object_refcount {
  public:
    // The answers of kind(). They exist from the library's load to its unload, so that
    // static objects of hosts may use them, at both ends.
    static std::string const k_kind_browser;
    static std::string const k_kind_monitor;
    static std::string const k_kind_reader;
    static std::string const k_kind_writer;

    ~plugin() override = 0;

    // The name of the interface that the object implements. Any thread may ask. It is for
    // people and for a first look; the interface itself is had by a dynamic_cast.
    virtual std::string kind() = 0;

  protected:
    // For derived classes only: a copy has no references, as object_refcount says.
    plugin() noexcept = default;
    plugin(plugin const&) noexcept = default;
    plugin& operator=(plugin const&) noexcept = default;
};

}  // namespace kivcore

#endif
