#include "kivcore/monitor.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

namespace kivcore {

namespace {

constexpr long long k_first_capacity = 1024;

// Ends a list of arguments on every way out: memory may run out while it is formatted.
class list_end {
  public:
    explicit list_end(std::va_list& started) : list(started) {}
    ~list_end() { va_end(list); }

    list_end(list_end const&) = delete;
    list_end& operator=(list_end const&) = delete;

  private:
    std::va_list& list;
};

// Formats into the buffer, from the first argument on however often it is called.
int format_into(std::vector<char>& buffer, char const* format, std::va_list arguments) {
    std::va_list fresh;
    va_copy(fresh, arguments);
    int const length = std::vsnprintf(buffer.data(), buffer.size(), format, fresh);
    va_end(fresh);
    return length;
}

// The formatted message with its NUL; empty when it cannot be formatted.
std::vector<char> formatted(char const* format, std::va_list arguments) {
    std::vector<char> buffer;
    for (long long capacity = k_first_capacity;;) {
        buffer.assign(static_cast<std::size_t>(capacity), '\0');
        int const length = format_into(buffer, format, arguments);
        if (length < 0) {
            return {};
        }
        if (length < capacity) {
            return buffer;
        }
        capacity = static_cast<long long>(length) + 1;
    }
}

}  // namespace

monitor::~monitor() = default;

std::string monitor::kind() {
    return k_kind_monitor;
}

monitor::handler::~handler() = default;

void monitor::handler::log(kivsys::_severity::severity severity, char const* format, ...) {
    if (format == nullptr) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    list_end const end(arguments);
    std::vector<char> const message = formatted(format, arguments);
    if (!message.empty()) {
        std::fprintf(stderr, "<%s> %s\n", kivsys::cstr_with_severity(severity), message.data());
    }
}

void monitor::handler::terminate() {}

}  // namespace kivcore
