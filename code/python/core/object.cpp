#include "object.h"

#include <kivcore/kivcore.h>

#include "text.h"

namespace binding {

object::object(std::string id, kivcore::instance<kivcore::plugin> created)
    : plugin_id(std::move(id)), made(std::move(created)) {}

// The plug-in may take its time, or close its shared object.
object::~object() {
    released_gil const released;
    made = {};
}

std::string object::kind() {
    return call("kind", [&] { return made->kind(); });
}

py::tuple object::interfaces() const {
    py::list names;
    auto const add = [&](bool is_one, char const* name) {
        if (is_one) {
            names.append(name);
        }
    };
    kivcore::plugin* const one = made.get();
    add(dynamic_cast<kivcore::frame_reader*>(one) != nullptr, "frame_reader");
    add(dynamic_cast<kivcore::multi_file_reader*>(one) != nullptr, "multi_file_reader");
    add(dynamic_cast<kivcore::reader*>(one) != nullptr, "reader");
    add(dynamic_cast<kivcore::writer*>(one) != nullptr, "writer");
    add(dynamic_cast<kivcore::browser*>(one) != nullptr, "browser");
    add(dynamic_cast<kivcore::monitor*>(one) != nullptr, "monitor");
    return {std::move(names)};
}

void bind_object(py::module_& module) {
    py::class_<object, std::shared_ptr<object>>(module, "Object", "A new object of a plug-in.")
        .def_property_readonly("id", [](object const& self) { return text(self.id()); })
        .def_property_readonly("kind", [](object& self) { return text(self.kind()); })
        .def_property_readonly("interfaces", &object::interfaces);
}

}  // namespace binding
