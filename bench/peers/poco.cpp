// Poco: a class loader loads `count` libraries of one class each; a shared object is opened and
// a function bound from it; a class loader with one library of `count` classes creates objects
// by class name.

#include <Poco/ClassLoader.h>
#include <Poco/SharedLibrary.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "base.h"
#include "load.h"
#include "peer.h"

namespace {

int load(std::string const& dir) {
    static Poco::ClassLoader<peer::base> loader;
    setenv("BENCH_CLASSES", "1", 1);
    for (auto const& file : std::filesystem::directory_iterator(dir)) {
        loader.loadLibrary(file.path());
    }
    int classes = 0;
    for (auto library = loader.begin(); library != loader.end(); ++library) {
        classes += library->second->size();
    }
    return classes;
}

void report_create(int count) {
    setenv("BENCH_CLASSES", std::to_string(count).c_str(), 1);
    Poco::ClassLoader<peer::base> loader;
    loader.loadLibrary(PEER_PLUGIN);
    auto const names = peer::names(count);
    peer::report("create", count, count, [&] {
        for (std::string const& name : names) {
            std::unique_ptr<peer::base> const object(loader.create(name));
            peer::keep(object.get());
        }
    });
    loader.unloadLibrary(PEER_PLUGIN);
}

}  // namespace

int main(int argc, char** argv) {
    peer::report_load(argc, argv, load, PEER_PLUGIN);
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
