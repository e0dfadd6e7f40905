// GModule: opens a shared object and binds a function from it.

#include <gmodule.h>

#include "peer.h"

int main() {
    peer::report_first_create([] {
        GModule* const image = g_module_open(
            peer::k_image, static_cast<GModuleFlags>(G_MODULE_BIND_LAZY | G_MODULE_BIND_LOCAL));
        gpointer create = nullptr;
        if (image != nullptr && g_module_symbol(image, peer::k_create, &create) != FALSE) {
            peer::create_and_release(reinterpret_cast<peer::create_function>(create));
        }
        g_module_close(image);
    });
}
