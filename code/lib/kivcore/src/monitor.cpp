#include "kivcore/monitor.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

namespace kivcore {

namespace {

// Enough for nearly every message.
constexpr long long k_first_capacity = 1024;

// Owns a va_list, so that va_end is called even if memory runs out.
class argument_list {
  public:
    explicit argument_list(std::va_list source) { va_copy(list, source); }
    ~argument_list() { va_end(list); }

    argument_list(argument_list const&) = delete;
    argument_list& operator=(argument_list const&) = delete;

    // Formats into the buffer. Starts from the first argument at every call.
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

// The formatted message with its NUL; empty if it cannot be formatted.
std::vector<char> formatted(char const* format, argument_list& arguments) {
    std::vector<char> buffer;
    for (long long capacity = k_first_capacity;;) {
        buffer.assign(static_cast<std::size_t>(capacity), '\0');
        int const length = arguments.format_into(buffer, format);
        if (length < 0) {
            return {};
        }
        // If the text was truncated, its length is known now, so it fits the second time.
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
