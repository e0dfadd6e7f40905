#include "exception_text.h"

#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <typeinfo>

namespace kivplug {

namespace {

struct free_text {
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): the compiler's runtime allocates it so
    void operator()(char* text) const { std::free(text); }
};

}  // namespace

std::string type_name(std::type_info const& type) {
    std::unique_ptr<char, free_text> const text(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, nullptr));
    return text ? text.get() : type.name();
}

std::string exception_text() {
    auto const* const type = abi::__cxa_current_exception_type();
    if (type == nullptr) {
        return "an exception of another language, or ends the thread with pthread_exit";
    }
    auto const name = type_name(*type);
    try {
        // cppcheck-suppress rethrowNoCurrentException; the caller handles one
        throw;
    } catch (std::exception const& error) {
        char const* const text = error.what();
        return name + ": " + (text != nullptr ? text : "no text");
    } catch (char const* text) {
        return name + ": " + (text != nullptr ? text : "null");
    } catch (std::string const& text) {
        return "std::string: " + text;
    } catch (...) {
        return name + ", which is not a std::exception";
    }
}

}  // namespace kivplug
