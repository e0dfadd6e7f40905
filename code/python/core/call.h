// Calls from Python into the library and into plug-ins. They run without the GIL, so other Python
// threads go on. What a call throws becomes a Python exception once the GIL is held again; the
// plug-in's own exception ends inside the call, because its code may be in the plug-in.

#ifndef KIVCORE_PYTHON_CALL_H
#define KIVCORE_PYTHON_CALL_H

#include <pybind11/pybind11.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace binding {

namespace py = pybind11;

// Releases the GIL while it exists.
class released_gil {
  public:
    released_gil() : state(PyEval_SaveThread()) {}
    ~released_gil();
    released_gil(released_gil const&) = delete;
    released_gil& operator=(released_gil const&) = delete;

  private:
    PyThreadState* state;
};

// The number of forks from the process that imported the module to this one.
unsigned int forks() noexcept;

// Makes forks() count. Call this once.
void count_forks();

// Finds out after a fork whether a thread that no longer exists was within a call. What it left
// behind, such as a locked mutex, cannot be used. Requires the GIL.
class calls_in_progress {
  public:
    // Raises RuntimeError.
    void enter();
    void leave() noexcept { --count; }

  private:
    int count = 0;
    unsigned int process = forks();
};

// One call, while it exists.
class call_in_progress {
  public:
    explicit call_in_progress(calls_in_progress& all) : counted(all) { counted.enter(); }
    ~call_in_progress() { counted.leave(); }
    call_in_progress(call_in_progress const&) = delete;
    call_in_progress& operator=(call_in_progress const&) = delete;

  private:
    calls_in_progress& counted;
};

// The object is closed.
class closed_object : public std::runtime_error {
  public:
    closed_object() : std::runtime_error("I/O operation on closed file") {}
};

// What a call threw, as the Python exception that it becomes.
struct problem {
    PyObject* builtin = nullptr;  // the class, unless it is one of kivcore's own:
    char const* own = nullptr;    // the name of the class in kivcore._errors
    std::string text = {};
};

// The exception that is being handled. Needs no GIL.
problem caught();

// Raises the problem of an operation on a plug-in, or on a directory.
[[noreturn]] void raise(problem const& found, std::string const& subject, char const* operation);

// Does the work without the GIL, and returns its result.
template <typename work_type>
auto without_gil(std::string const& subject, char const* operation, work_type const& work) {
    std::optional<decltype(work())> result;
    problem found;
    {
        released_gil const released;
        try {
            result = work();
        } catch (...) {
            found = caught();
        }
    }
    if (!result) {
        raise(found, subject, operation);
    }
    return *std::move(result);
}

}  // namespace binding

#endif
