// The part of the Python package kivcore that calls the library. It passes on numbers, texts and
// results; what users see is in Python, above it.

#include <vector>

#include <kivcore/kivcore.h>

#include "object.h"
#include "text.h"

namespace binding {

namespace {

// What happened during a load, in order.
struct event {
    char const* what;
    std::string directory;
    std::string id = {};
    std::string other_directory = {};
    std::string reason = {};
    int line = 0;
    int column = 0;
};

class recorder final : public kivcore::load_observer {
  public:
    void passed_over(std::string const& directory, std::string const& reason) override {
        events.push_back({"passed_over", directory, "", "", reason});
    }
    void loaded(std::string const& directory) override { events.push_back({"loaded", directory}); }
    void failed(std::string const& directory, std::string const& reason) override {
        events.push_back({"failed", directory, "", "", reason});
    }
    void registered(std::string const& directory, std::string const& id) override {
        events.push_back({"registered", directory, id});
    }
    void replaced(std::string const& directory, std::string const& id,
                  std::string const& previous_directory) override {
        events.push_back({"replaced", directory, id, previous_directory});
    }
    void refused(std::string const& directory, std::string const& id,
                 std::string const& holder_directory, std::string const& reason) override {
        events.push_back({"refused", directory, id, holder_directory, reason});
    }
    void xml_report(std::string const& directory, int /*severity*/, std::string const& message,
                    int line, int column) override {
        events.push_back({"xml_report", directory, "", "", message, line, column});
    }

    std::vector<event> events;
};

py::tuple tuple_of(event const& one) {
    return py::make_tuple(one.what, path_text(one.directory), text(one.id),
                          path_text(one.other_directory), text(one.reason), one.line, one.column);
}

class registry {
    template <typename work_type>
    auto call(std::string const& subject, char const* operation, work_type const& work) {
        call_in_progress const counted(progress);
        return without_gil(subject, operation, work);
    }

  public:
    // Only derives the name of a schema from its root: any directory will do.
    registry() : held(new kivcore::plugins(".")) {}

    ~registry() {
        released_gil const released;
        held = nullptr;
    }
    registry(registry const&) = delete;
    registry& operator=(registry const&) = delete;

    // is_collection: whether the directory has plug-in directories in it, or is one itself.
    py::list load(std::string const& directory, bool is_collection) {
        recorder seen;
        call(directory, "load", [&] {
            return is_collection ? held->load_plugins(directory, seen)
                                 : static_cast<int>(held->load_plugin(directory, seen));
        });
        py::list list;
        for (auto const& one : seen.events) {
            list.append(tuple_of(one));
        }
        return list;
    }

    py::list find(std::string const& pattern) {
        py::list list;
        for (auto const& id : call(pattern, "find", [&] { return held->find_plugins(pattern); })) {
            list.append(text(id));
        }
        return list;
    }

    // None if the id is unknown.
    py::object describe(std::string const& id) {
        auto const known = call(id, "describe", [&] { return held->describe_plugin(id); });
        if (!known) {
            return py::none();
        }
        std::vector<std::string> keys;
        known->find("(?s).*", keys);
        py::dict values;
        for (auto const& key : keys) {
            auto const value = kivcore::value_of(*known, key);
            values[text(key)] = key == "path" ? path_text(value) : text(value);
        }
        return std::move(values);
    }

    // None if the plug-in makes nothing.
    std::shared_ptr<object> create(std::string const& id) {
        auto made = call(id, "create", [&] { return kivcore::create<kivcore::plugin>(held, id); });
        return made ? std::make_shared<object>(id, std::move(made)) : nullptr;
    }

  private:
    morbase::ptr_refcount<kivcore::plugins> held;
    calls_in_progress progress;
};

}  // namespace

}  // namespace binding

PYBIND11_MODULE(_kivcore, module) {
    using binding::registry;
    binding::count_forks();
    module.doc() = "The part of kivcore that calls the library. Use the package kivcore instead.";
    module.attr("version") = KIVCORE_VERSION;
    module.attr("plugins_from_package") = KIVCORE_PLUGINS_FROM_PACKAGE;
    binding::py::class_<registry>(module, "Registry", "A registry of plug-ins.")
        .def(binding::py::init<>())
        .def("load", &registry::load)
        .def("find", &registry::find)
        .def("describe", &registry::describe)
        .def("create", &registry::create);
    binding::bind_object(module);
    binding::bind_streams(module);
    binding::bind_browser(module);
    binding::bind_monitor(module);
}
