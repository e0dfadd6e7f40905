#include "kivcore/loader.h"

#include <dlfcn.h>

#include <morbase/es.h>

namespace kivcore {

namespace {

constexpr char const* k_source = "code/lib/kivcore/src/loader";

// Raises for a call that failed just now on this thread, with the platform's reason.
[[noreturn]] void raise_failure(unsigned int line, std::string message) {
    char const* const reason = dlerror();
    message += reason != nullptr ? reason : "unknown reason";
    morbase::es::call::raise(k_source, line, message.c_str());
}

}  // namespace

loader::loader(std::string const& path) : image_path(path) {}

loader::~loader() {
    try {
        unload();
    } catch (...) {
        // Nobody is left to tell: the shared object stays open until the process ends.
    }
}

void loader::load() {
    if (image_handle != nullptr) {
        return;
    }
    dlerror();  // a reason read below is then this call's
    // Lazy: an object with an unresolved function is of use to whoever does not call it.
    // Local: plug-ins may export the same names, and none must get another's.
    image_handle = dlopen(image_path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (image_handle == nullptr) {
        raise_failure(__LINE__, "failed to load binary image: ");
    }
}

void loader::unload() {
    if (image_handle == nullptr) {
        return;
    }
    dlerror();
    if (dlclose(image_handle) != 0) {
        // The handle stays: the object is open, and what came out of it is still of use.
        raise_failure(__LINE__, "failed to unload binary image: ");
    }
    image_handle = nullptr;
}

void* loader::lookup(std::string const& name) {
    // Without a handle the platform would search the whole process.
    return image_handle != nullptr ? dlsym(image_handle, name.c_str()) : nullptr;
}

}  // namespace kivcore
