// A loader stands for one shared object of a plug-in directory. Making one
// records the path and opens nothing; the object is opened when the first
// function is bound and closed with the loader's last reference. Factories
// share it. It takes no lock: callers serialise their calls, as the registry's factories
// do under its lock.
//
// What comes out of an open object (addresses, objects made by its code, exceptions of
// its own classes) is valid only while it stays open. Opening and closing run its code:
// the initialisers and destructors of its globals.

#ifndef KIVCORE_LOADER_H
#define KIVCORE_LOADER_H

#include <string>

#include <kivcore/export.h>
#include <morbase/object_refcount.h>

namespace kivcore {

class KIVCORE_API loader : public morbase::object_refcount {
  public:
    // path: of the shared object. One without a "/" is looked for where the platform looks
    // for its libraries.
    explicit loader(std::string const& path);

    // Closes the shared object if it is open; a failure to do so is dropped.
    ~loader() override;

    loader(loader const&) = delete;
    loader& operator=(loader const&) = delete;

    // Opens the shared object unless it is open. Raises es::call with the
    // platform's reason when it cannot be opened; a later call tries again. Raises es::call
    // for a path with "/" in which the dynamic linker would replace a token: $ORIGIN, $LIB or
    // $PLATFORM, also with the name in braces.
    void load();

    // Closes the shared object if it is open, however often load was called. Raises
    // es::call with the platform's reason when it cannot be closed and stays open.
    void unload();

    // The address of an exported symbol, by the name that it has in the file, which for C++
    // functions says more than in the source. Null when there is none of this name, and
    // while the shared object is not open.
    void* lookup(std::string const& name);

  private:
    std::string image_path;
    void* image_handle = nullptr;  // given back by unload
};

}  // namespace kivcore

#endif
