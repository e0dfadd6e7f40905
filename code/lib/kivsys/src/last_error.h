// The calling thread's last error in the XML library, which is the host's.

#ifndef KIVSYS_LAST_ERROR_H
#define KIVSYS_LAST_ERROR_H

#include <utility>

#include <libxml/xmlerror.h>

namespace kivsys::xml {

class last_error {
  public:
    void set_aside() noexcept {
        // Later releases of the XML library give the thread's own error as a constant.
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
        own = const_cast<xmlError*>(xmlGetLastError());
        if (own != nullptr) {
            saved = std::exchange(*own, xmlError{});
        }
    }
    void put_back() const noexcept {
        xmlResetLastError();
        if (own != nullptr) {
            *own = saved;
        }
    }

  private:
    xmlError* own = nullptr;  // the thread's; null while it has no error
    xmlError saved{};
};

// Sets it aside while this lives. A call of the XML library then leaves an error of its own or
// none.
class last_error_aside {
  public:
    last_error_aside() noexcept { error.set_aside(); }
    ~last_error_aside() { error.put_back(); }

    last_error_aside(last_error_aside const&) = delete;
    last_error_aside& operator=(last_error_aside const&) = delete;

  private:
    last_error error;
};

}  // namespace kivsys::xml

#endif
