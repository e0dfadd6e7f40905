// class_loader: a shared object that registers a class, and creation by the class's name.

#include <memory>

#include "base.h"
#include "peer.h"

#include <class_loader/class_loader.hpp>

int main() {
    peer::report_first_create([] {
        class_loader::ClassLoader loader(CLASS_LOADER_IMAGE, false);
        loader.createInstance<peer::base>("peer::made");
    });
    class_loader::ClassLoader loader(CLASS_LOADER_IMAGE, false);
    peer::report("create", 1, 100, [&] {
        for (int i = 0; i < 100; ++i) {
            loader.createInstance<peer::base>("peer::made");
        }
    });
}
