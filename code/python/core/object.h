// An object of a plug-in as Python holds it. Python may drop its objects in any order: each holds
// the plug-in's object, its factory and the registry, and releases them in this order. Calls into
// one object take turns.

#ifndef KIVCORE_PYTHON_OBJECT_H
#define KIVCORE_PYTHON_OBJECT_H

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <kivcore/instance.h>

#include "call.h"

namespace binding {

class object {
  public:
    // created must not be empty.
    object(std::string id, kivcore::instance<kivcore::plugin> created);
    ~object();
    object(object const&) = delete;
    object& operator=(object const&) = delete;

    // What the object says it is, and the interfaces that it has, the more special ones first.
    std::string kind();
    py::tuple interfaces() const;

    // The object as an Interface. Raises TypeError if it is not one.
    template <typename Interface>
    Interface& as() const {
        auto* const found = dynamic_cast<Interface*>(made.get());
        if (found == nullptr) {
            throw py::type_error("the object of " + plugin_id + " does not have this interface");
        }
        return *found;
    }

    // Does the work without the GIL when no other thread is using the object.
    template <typename work_type>
    auto call(char const* operation, work_type const& work) {
        call_in_progress const counted(progress);
        return without_gil(plugin_id, operation, [&] {
            std::lock_guard<std::mutex> const turn(turns);
            return work();
        });
    }

    // The same, for an object that must be open.
    template <typename work_type>
    auto call_open(char const* operation, work_type const& work) {
        return call(operation, [&] {
            if (!open) {
                throw closed_object();
            }
            return work();
        });
    }

    // The same, for the operation that opens the object: its result is negative on failure.
    template <typename work_type>
    long long call_to_open(char const* operation, work_type const& work) {
        return call(operation, [&]() -> long long {
            auto const result = work();
            open = result >= 0;
            return result;
        });
    }

    // The same, for the operation that closes the object. Does nothing if it is closed.
    template <typename work_type>
    long long call_to_close(char const* operation, work_type const& work) {
        return call(operation, [&]() -> long long { return open.exchange(false) ? work() : 0; });
    }

    std::string const& id() const noexcept { return plugin_id; }
    bool is_open() const noexcept { return open; }

  private:
    std::string const plugin_id;
    std::atomic<bool> open = false;  // changes within call()
    kivcore::instance<kivcore::plugin> made;
    std::mutex turns;
    calls_in_progress progress;
};

void bind_object(py::module_& module);
void bind_streams(py::module_& module);
void bind_browser(py::module_& module);
void bind_monitor(py::module_& module);

}  // namespace binding

#endif
