// class_loader: loads `count` shared objects that register one class each; loads one shared
// object and creates its class by name; creates objects by the names of `count` classes.

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "base.h"
#include "load.h"
#include "peer.h"

#include <class_loader/class_loader.hpp>
#include <class_loader/multi_library_class_loader.hpp>

namespace {

int load(std::string const& dir) {
    static class_loader::MultiLibraryClassLoader loader(false);
    for (auto const& file : std::filesystem::directory_iterator(dir)) {
        loader.loadLibrary(file.path());
    }
    return static_cast<int>(loader.getAvailableClasses<peer::base>().size());
}

void report_create(int count) {
    setenv("BENCH_CLASSES", std::to_string(count).c_str(), 1);
    class_loader::ClassLoader loader(PEER_PLUGIN, false);
    auto const names = peer::names(count);
    peer::report("create", count, count, [&] {
        for (std::string const& name : names) {
            loader.createInstance<peer::base>(name);
        }
    });
}

}  // namespace

int main(int argc, char** argv) {
    peer::report_load(argc, argv, load, PEER_PLUGIN);
    peer::report_first_create([] {
        class_loader::ClassLoader loader(PEER_PLUGIN, false);
        loader.createInstance<peer::base>(PEER_PLUGIN);
    });
    for (int const count : {10, 1000}) {
        report_create(count);
    }
}
