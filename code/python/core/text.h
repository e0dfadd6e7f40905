// Texts of the library and of plug-ins as Python strings. Bytes that are not valid become
// surrogate escapes, so every text comes back unchanged.

#ifndef KIVCORE_PYTHON_TEXT_H
#define KIVCORE_PYTHON_TEXT_H

#include <pybind11/pybind11.h>

#include <string>

namespace binding {

// A string, or the Python exception that the interpreter set.
inline pybind11::str checked_text(PyObject* made) {
    if (made == nullptr) {
        throw pybind11::error_already_set();
    }
    return pybind11::reinterpret_steal<pybind11::str>(made);
}

// An id, a description or a message: UTF-8.
inline pybind11::str text(std::string const& from) {
    auto const size = static_cast<Py_ssize_t>(from.size());
    return checked_text(PyUnicode_DecodeUTF8(from.data(), size, "surrogateescape"));
}

// A path: the encoding of file names.
inline pybind11::str path_text(std::string const& from) {
    auto const size = static_cast<Py_ssize_t>(from.size());
    return checked_text(PyUnicode_DecodeFSDefaultAndSize(from.data(), size));
}

}  // namespace binding

#endif
