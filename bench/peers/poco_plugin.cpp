// A library with as many classes as BENCH_CLASSES in the environment says.

#include <Poco/Manifest.h>
#include <Poco/MetaObject.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "base.h"

namespace {

struct made final : peer::base {};

}  // namespace

extern "C" __attribute__((visibility("default"))) bool pocoBuildManifest(
    Poco::ManifestBase* manifest) {
    static std::vector<std::string> names;  // a class refers to its name here
    char const* const count = std::getenv("BENCH_CLASSES");
    for (int i = 0, end = count != nullptr ? std::atoi(count) : 0; i < end; ++i) {
        names.push_back("format" + std::to_string(i));
    }
    for (std::string const& name : names) {
        static_cast<Poco::Manifest<peer::base>*>(manifest)->insert(
            new Poco::MetaObject<made, peer::base>(name.c_str()));
    }
    return true;
}
