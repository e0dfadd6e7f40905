#include "kivcore/monitor.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

namespace kivcore {

namespace {

// Room for nearly every message at the first try.
constexpr long long k_first_capacity = 1024;

// Arguments to format, ended on every way out: memory may run out in between.
class argument_list {
  public:
    explicit argument_list(std::va_list source) { va_copy(list, source); }
    ~argument_list() { va_end(list); }

    argument_list(argument_list const&) = delete;
    argument_list& operator=(argument_list const&) = delete;

    // Formats into the buffer, from the first argument on however often it is called.
    int format_into(std::vector<char>& buffer, char const* format) {
        std::va_list fresh;
        va_copy(fresh, list);
        int const length = std::vsnprintf(buffer.data(), buffer.size(), format, fresh);
        va_end(fresh);
        return length;
    }

  private:
    std::va_list list;
};

// The formatted message with its NUL; empty when it cannot be formatted.
std::vector<char> formatted(char const* format, argument_list& arguments) {
    std::vector<char> buffer;
    for (long long capacity = k_first_capacity;;) {
        buffer.assign(static_cast<std::size_t>(capacity), '\0');
        int const length = arguments.format_into(buffer, format);
        if (length < 0) {
            return {};
        }
        // A text that was cut fits the second time: its length is known by now.
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
    std::va_list started;
    va_start(started, format);
    argument_list arguments(started);
    va_end(started);
    std::vector<char> const message = formatted(format, arguments);
    if (!message.empty()) {
        // In one call, so that lines of several threads do not mix.
        std::fprintf(stderr, "<%s> %s\n", kivsys::cstr_with_severity(severity), message.data());
    }
}

void monitor::handler::terminate() {}

}  // namespace kivcore
