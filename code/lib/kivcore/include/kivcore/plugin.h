// The base of every object that a plug-in creates. Such an object is reference counted; each
// holder owns a reference. Its code is in the plug-in's shared object, which stays open only as
// long as the factory that created the object exists. So release objects before the registry and
// its factories, and before a native plug-in takes over their id. kivcore::instance does this for
// you.

#ifndef KIVCORE_PLUGIN_H
#define KIVCORE_PLUGIN_H

#include <string>

#include <kivcore/export.h>
#include <morbase/object_refcount.h>

namespace kivcore {

// The base of every interface. A plug-in implements one of the interfaces, or derives from this
// class and returns its own kind.
class KIVCORE_API plugin : public morbase::object_refcount {
  public:
    // The results of kind(). They exist from the library's load to its unload, so the
    // constructors and destructors of a host's static objects may use them.
    static std::string const k_kind_browser;
    static std::string const k_kind_monitor;
    static std::string const k_kind_reader;
    static std::string const k_kind_writer;

    ~plugin() override;

    // The name of the interface that the object implements. Any thread may call this. The name is
    // for people and for a quick check; use dynamic_cast to get the interface itself.
    virtual std::string kind() = 0;

  protected:
    // For derived classes only. A copy starts without references; see object_refcount.
    plugin() noexcept = default;
    plugin(plugin const&) noexcept = default;
    plugin& operator=(plugin const&) noexcept = default;
};

}  // namespace kivcore

#endif
