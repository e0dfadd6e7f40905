// Qt: a shared object and a function bound from it.

#include <QLibrary>

#include "peer.h"

int main() {
    peer::report_first_create([] {
        QLibrary image(peer::k_image);
        peer::create_and_release(
            reinterpret_cast<peer::create_function>(image.resolve(peer::k_create)));
        image.unload();
    });
}
