// Boost.DLL: opens a shared object and binds a function from it.

#include "peer.h"

#include <boost/dll/shared_library.hpp>

int main() {
    peer::report_first_create([] {
        boost::dll::shared_library const image(peer::k_image, boost::dll::load_mode::rtld_lazy);
        peer::create_and_release(&image.get<kivcore::plugin*()>(peer::k_create));
    });
}
