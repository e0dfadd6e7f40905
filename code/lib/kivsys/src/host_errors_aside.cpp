#include "kivsys/host_errors_aside.h"

#include <libxml/globals.h>

#include "last_error.h"
#include "prepare_library.h"

namespace kivsys::xml {

namespace {

struct host_errors {
    int users = 0;
    last_error last{};
    xmlStructuredErrorFunc handler = nullptr;
    void* context = nullptr;
};

thread_local host_errors of_this_thread;

}  // namespace

host_errors_aside::host_errors_aside() {
    host_errors& host = of_this_thread;
    if (host.users > 0) {
        ++host.users;
        return;
    }
    prepare_library();
    host.users = 1;
    host.last.set_aside();
    host.handler = xmlStructuredError;
    if (host.handler != nullptr) {
        host.context = xmlStructuredErrorContext;
        xmlSetStructuredErrorFunc(nullptr, nullptr);
    }
}

host_errors_aside::~host_errors_aside() {
    host_errors& host = of_this_thread;
    if (--host.users > 0) {
        return;
    }
    host.last.put_back();
    if (host.handler != nullptr) {
        xmlSetStructuredErrorFunc(host.context, host.handler);
    }
}

}  // namespace kivsys::xml
