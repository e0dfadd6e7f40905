#include <map>

#include <kivcore/browser.h>

#include "object.h"
#include "text.h"

namespace binding {

namespace {

class browser {
  public:
    explicit browser(std::shared_ptr<object> of)
        : held(std::move(of)), target(held->as<kivcore::browser>()) {}

    bool can_browse(std::string const& path) {
        return held->call("can_browse", [&] { return target.can_browse(path); });
    }

    py::str root() {
        return path_text(held->call("root", [&] { return target.root(); }));
    }

    // The name and the path of each directory and of each file.
    py::tuple list(std::string const& path) {
        auto const [directories, files] = held->call("get_list", [&] { return target.list(path); });
        return py::make_tuple(pairs(directories), pairs(files));
    }

    py::dict info(std::string const& path) {
        auto const found = held->call("get_info", [&] { return target.info(path); });
        py::dict info;
        for (auto const& [key, value] : found) {
            info[text(key)] = text(value);
        }
        return info;
    }

    py::str url(std::string const& path) {
        return path_text(held->call("get_url", [&] { return target.url(path); }));
    }

  private:
    static py::list pairs(kivcore::browser::entry_list const& entries) {
        py::list list;
        for (auto const& [name, path] : entries) {
            list.append(py::make_tuple(path_text(name), path_text(path)));
        }
        return list;
    }

    std::shared_ptr<object> const held;
    kivcore::browser& target;
};

}  // namespace

void bind_browser(py::module_& module) {
    py::class_<browser>(module, "Browser", "Lists directories and files.")
        .def(py::init<std::shared_ptr<object>>())
        .def("can_browse", &browser::can_browse)
        .def("root", &browser::root)
        .def("list", &browser::list)
        .def("info", &browser::info)
        .def("url", &browser::url);
}

}  // namespace binding
