// The calling thread's last error in the XML library, which belongs to the host.

#ifndef KIVSYS_LAST_ERROR_H
#define KIVSYS_LAST_ERROR_H

#include <utility>

#include <libxml/xmlerror.h>

namespace kivsys::xml {

class last_error {
  public:
    void set_aside() noexcept {
        // Later releases of the XML library return a pointer to const.
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

// Sets the last error aside while it lives. A last error after a call of the XML library is then
// an error of that call.
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
