// libltdl: opens a shared object and binds a function from it.

#include <ltdl.h>

#include "peer.h"

int main() {
    lt_dlinit();
    peer::report_first_create([] {
        lt_dlhandle const image = lt_dlopenext(peer::k_image);
        peer::create_and_release(
            reinterpret_cast<peer::create_function>(lt_dlsym(image, peer::k_create)));
        lt_dlclose(image);
    });
    lt_dlexit();
}
