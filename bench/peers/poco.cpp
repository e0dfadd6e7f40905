// Poco: a shared object and a function bound from it; creation by the class's name, by
// a class loader with one library of `count` classes.

#include <Poco/ClassLoader.h>
#include <Poco/SharedLibrary.h>

#include <cstdlib>
#include <memory>

#include "base.h"
#include "peer.h"

namespace {

void report_create(int count) {
    setenv("BENCH_CLASSES", std::to_string(count).c_str(), 1);
    Poco::ClassLoader<peer::base> loader;
    loader.loadLibrary(POCO_IMAGE);
    auto const names = peer::names(count);
    peer::report("create", count, count, [&] {
        for (std::string const& name : names) {
            std::unique_ptr<peer::base> const object(loader.create(name));
            peer::keep(object.get());
        }
    });
    loader.unloadLibrary(POCO_IMAGE);
}

}  // namespace

int main() {
    peer::report_first_create([] {
        Poco::SharedLibrary image(peer::k_image);
        peer::create_and_release(
            reinterpret_cast<peer::create_function>(image.getSymbol(peer::k_create)));
        image.unload();
    });
    for (int const count : {10, 1000, 100000}) {
        report_create(count);
    }
}
