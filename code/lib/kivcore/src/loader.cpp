#include "kivcore/loader.h"

#include <dlfcn.h>

#include <string_view>

#include <morbase/es.h>

#include "cancellation.h"

namespace kivcore {

namespace {

// What morbase::es::base::file() returns for errors raised here.
constexpr char const* k_source = "code/lib/kivcore/src/loader";

constexpr char const* k_not_loaded = "failed to load binary image: ";

// Raises es::call with the platform's reason. Call it right after the failure, on the same
// thread.
[[noreturn]] void raise_failure(unsigned int line, std::string message) {
    char const* const reason = dlerror();
    message += reason != nullptr ? reason : "unknown reason";
    morbase::es::call::raise(k_source, line, message.c_str());
}

// A token of the dynamic linker in the path, or empty. A token without braces ends where an
// identifier would: $LIB-64 contains one, $LIB64 does not.
std::string_view token_in(std::string const& path) {
    constexpr char const* k_name =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
    for (std::string_view const token :
         {"${ORIGIN}", "${LIB}", "${PLATFORM}", "$ORIGIN", "$LIB", "$PLATFORM"}) {
        for (auto at = path.find(token); at != std::string::npos; at = path.find(token, at + 1)) {
            auto const end = at + token.size();
            if (token.back() == '}' || path.find_first_of(k_name, end) != end) {
                return token;
            }
        }
    }
    return "";
}

// dlopen replaces tokens in a path and so would open another file, and there is no way to quote
// them. It does not replace tokens in a name without "/".
void refuse_tokens(std::string const& path) {
    auto const token = path.find('/') != std::string::npos ? token_in(path) : "";
    if (!token.empty()) {
        morbase::es::call::raise(k_source, __LINE__,
                                 (k_not_loaded + path + ": the dynamic linker would replace " +
                                  std::string(token) + "; rename the file or directory")
                                     .c_str());
    }
}

}  // namespace

loader::loader(std::string const& path) : image_path(path) {}

loader::~loader() {
    try {
        unload();
    } catch (...) {
        // A destructor cannot report this. The shared object stays open until the process ends.
    }
}

void loader::load() {
    if (image_handle != nullptr) {
        return;
    }
    refuse_tokens(image_path);
    cancellation_put_off const until_done;
    dlerror();  // clear an old reason
    // Lazy: a shared object with an unresolved function still works if that function is not
    // called. Local: plug-ins may export the same names, and must not get each other's symbols.
    image_handle = dlopen(image_path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (image_handle == nullptr) {
        raise_failure(__LINE__, k_not_loaded);
    }
}

void loader::unload() {
    if (image_handle == nullptr) {
        return;
    }
    cancellation_put_off const until_done;
    dlerror();
    if (dlclose(image_handle) != 0) {
        // Keep the handle: the shared object is still open, and everything from it still valid.
        raise_failure(__LINE__, "failed to unload binary image: ");
    }
    image_handle = nullptr;
}

void* loader::lookup(std::string const& name) {
    // Without a handle the platform would search the whole process.
    return image_handle != nullptr ? dlsym(image_handle, name.c_str()) : nullptr;
}

}  // namespace kivcore
