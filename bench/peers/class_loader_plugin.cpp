// A library with one class that has the name of its file. If BENCH_CLASSES is set in the
// environment, it has that many classes.

#include <cstdlib>
#include <string>
#include <vector>

#include "base.h"

#include <class_loader/class_loader.hpp>

namespace {

struct made final : peer::base {};

// Does the same as the library's macro does for a class name in the source.
class registrations {
  public:
    registrations() {
        char const* const count = std::getenv("BENCH_CLASSES");
        if (count == nullptr) {
            add(class_loader::impl::getCurrentlyLoadingLibraryName());
            return;
        }
        for (int i = 0, end = std::atoi(count); i < end; ++i) {
            add("format" + std::to_string(i));
        }
    }

  private:
    using factory = class_loader::impl::UniquePtr<class_loader::impl::AbstractMetaObjectBase>;

    void add(std::string const& name) {
        factories.push_back(
            class_loader::impl::registerPlugin<made, peer::base>(name, "peer::base"));
    }

    std::vector<factory> factories;
};

registrations const registered;

}  // namespace
