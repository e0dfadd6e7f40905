// A library of one class with the name of its file, or of as many classes as the
// environment's BENCH_CLASSES says.

#include <cstdlib>
#include <string>
#include <vector>

#include "base.h"

#include <class_loader/class_loader.hpp>

namespace {

struct made final : peer::base {};

// Does what the library's macro does for a class that the source names.
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
