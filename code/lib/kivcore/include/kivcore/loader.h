// A loader represents the shared object of one plug-in directory. The constructor only stores the
// path. The shared object is opened when the first function is bound, and closed when the last
// reference to the loader is released. The factories of a directory share one loader. It takes no
// lock: callers must serialise their calls, as the registry does with its own lock.
//
// Everything that comes from an open shared object (addresses, objects created by its code,
// exceptions of its own classes) is valid only while it stays open. Opening and closing run its
// code: the initialisers and destructors of its globals.

#ifndef KIVCORE_LOADER_H
#define KIVCORE_LOADER_H

#include <string>

#include <kivcore/export.h>
#include <morbase/object_refcount.h>

namespace kivcore {

class KIVCORE_API loader : public morbase::object_refcount {
  public:
    // path: the path of the shared object. Without a "/", the platform searches its library
    // directories for it.
    explicit loader(std::string const& path);

    // Closes the shared object if it is open. Ignores a failure.
    ~loader() override;

    loader(loader const&) = delete;
    loader& operator=(loader const&) = delete;

    // Opens the shared object unless it is open. Raises es::call with the platform's reason if it
    // cannot be opened; a later call tries again. Also raises es::call for a path with "/" in
    // which the dynamic linker would replace a token: $ORIGIN, $LIB or $PLATFORM, with or without
    // braces around the name.
    void load();

    // Closes the shared object if it is open, however often load was called. If it cannot be
    // closed, it stays open, and es::call is raised with the platform's reason.
    void unload();

    // The address of an exported symbol. For a C++ function, name is the mangled name. Null if
    // there is no such symbol, or if the shared object is not open.
    void* lookup(std::string const& name);

  private:
    std::string image_path;
    void* image_handle = nullptr;  // from dlopen; released by unload
};

}  // namespace kivcore

#endif
