#include "morbase/es.h"

#include <string>

namespace morbase::es {

struct base::details {
    std::string file;
    unsigned int line;
    std::string message;
};

namespace {

char const* text_or_empty(char const* text) {
    return text != nullptr ? text : "";
}

}  // namespace

base::base(char const* file, unsigned int line, char const* message)
    : raised(std::make_shared<details const>(
          details{text_or_empty(file), line, text_or_empty(message)})) {}

base::base(base const&) noexcept = default;
base& base::operator=(base const&) noexcept = default;
base::~base() = default;

char const* base::what() const noexcept {
    return raised->message.c_str();
}

char const* base::file() const noexcept {
    return raised->file.c_str();
}

unsigned int base::line() const noexcept {
    return raised->line;
}

call::~call() = default;
arg::~arg() = default;
null::~null() = default;
unsupp::~unsupp() = default;

void call::raise(char const* file, unsigned int line, char const* message) {
    throw call(file, line, message);
}

void arg::raise(char const* file, unsigned int line, char const* message) {
    throw arg(file, line, message);
}

void null::raise(char const* file, unsigned int line, char const* message) {
    throw null(file, line, message);
}

void unsupp::raise(char const* file, unsigned int line, char const* message) {
    throw unsupp(file, line, message);
}

}  // namespace morbase::es
