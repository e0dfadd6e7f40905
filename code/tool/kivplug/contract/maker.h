// Creation of the objects under test.

#ifndef KIVPLUG_CONTRACT_MAKER_H
#define KIVPLUG_CONTRACT_MAKER_H

#include <functional>
#include <string>

#include <kivcore/instance.h>

#include "host.h"
#include "kind.h"

namespace kivplug {

template <typename interface>
using maker = std::function<kivcore::instance<interface>()>;

// The same failure, with advice for 'kivplug contract'.
[[noreturn]] void fail_for_option(wrong_kind const& error);

// A function that creates objects of the plug-in, and raises a failure if it cannot. `kind` is
// the name of the interface. from must outlive the function.
template <typename interface>
maker<interface> maker_of(host const& from, std::string const& id, std::string const& kind) {
    return [&from, id, kind] {
        try {
            return from.create<interface>(id, kind);
        } catch (wrong_kind const& error) {
            fail_for_option(error);
        }
    };
}

}  // namespace kivplug

#endif
