#include "call.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <new>

#include <morbase/es.h>

#include "text.h"

namespace binding {

namespace {

// A handler of forks has no other place to count in.
std::atomic<unsigned int> counted_forks{0};

}  // namespace

// The interpreter ends other threads when they ask for the GIL after its end. It does so by
// unwinding the stack, through frames that own Python objects and would release them without the
// GIL. Such a thread waits here for the end of the process instead.
released_gil::~released_gil() {
    try {
        PyEval_RestoreThread(state);
    } catch (...) {  // only that unwinding
        for (;;) {
            pause();
        }
    }
}

unsigned int forks() noexcept {
    return counted_forks;
}

void count_forks() {
    if (pthread_atfork(nullptr, nullptr, [] { ++counted_forks; }) != 0) {
        throw std::bad_alloc();
    }
}

void calls_in_progress::enter() {
    if (process != forks()) {
        if (count > 0) {
            throw std::runtime_error(
                "another thread was using this object when the process forked; create it anew");
        }
        process = forks();
    }
    ++count;
}

problem caught() {
    try {
        throw;
    } catch (closed_object const& error) {
        return {PyExc_ValueError, nullptr, error.what()};
    } catch (std::bad_alloc const&) {
        return {PyExc_MemoryError, nullptr, "memory ran out"};
    } catch (morbase::es::call const& error) {
        return {nullptr, "CallError", error.what()};
    } catch (morbase::es::arg const& error) {
        return {nullptr, "ArgumentError", error.what()};
    } catch (morbase::es::null const& error) {
        return {nullptr, "MissingError", error.what()};
    } catch (morbase::es::unsupp const& error) {
        return {nullptr, "UnsupportedError", error.what()};
    } catch (std::exception const& error) {
        char const* const text = error.what();
        return {nullptr, "PluginError", text != nullptr ? text : "exception without a text"};
    } catch (...) {
        return {nullptr, "PluginError",
                "the plug-in threw something that is not an exception of the standard library"};
    }
}

void raise(problem const& found, std::string const& subject, char const* operation) {
    py::object const type = found.builtin != nullptr
                                ? py::reinterpret_borrow<py::object>(found.builtin)
                                : py::module_::import("kivcore._errors").attr(found.own);
    auto const message = text(subject + ": " + operation + ": " + found.text);
    PyErr_SetObject(type.ptr(), message.ptr());
    throw py::error_already_set();
}

}  // namespace binding
