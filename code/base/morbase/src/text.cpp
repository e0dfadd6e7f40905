#include "morbase/text.h"

#include <cstdarg>
#include <cstdio>

#include <morbase/es.h>

namespace morbase {

namespace {

// What morbase::es::base::file() returns for errors raised here.
constexpr char const* k_source = "code/base/morbase/src/text";

// Owns a va_list, so that va_end is called even if something throws.
class arguments {
  public:
    explicit arguments(std::va_list source) { va_copy(list, source); }
    ~arguments() { va_end(list); }

    arguments(arguments const&) = delete;
    arguments& operator=(arguments const&) = delete;

    int format_into(char* target, std::size_t capacity, char const* format) {
        return std::vsnprintf(target, capacity, format, list);
    }

  private:
    std::va_list list;
};

// The Base64 digit for the low six bits.
char base64_digit(unsigned int value) {
    return "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[value & 63U];
}

}  // namespace

std::string string_with_format(char const* format, ...) {
    std::va_list list;
    va_start(list, format);
    // Two copies, because formatting consumes a list.
    arguments measured(list);
    arguments written(list);
    va_end(list);

    int const length = measured.format_into(nullptr, 0, format);
    if (length < 0) {
        es::call::raise(k_source, __LINE__, "failed to format a text");
    }
    std::string text(static_cast<std::size_t>(length), '\0');
    // The NUL after the text overwrites the NUL that the string keeps there.
    written.format_into(text.data(), text.size() + 1, format);
    return text;
}

std::string string_with_fourcc(unsigned int code, char unprintable) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        unsigned int const byte = (code >> shift) & 0xffU;
        bool const printable = byte >= 0x20U && byte <= 0x7eU;
        text += printable ? static_cast<char>(byte) : unprintable;
    }
    return text;
}

std::string string_with_timecode(timecode const& time, bool with_frames) {
    std::string text = string_with_format("%02u:%02u:%02u", time.hours, time.minutes, time.seconds);
    if (with_frames) {
        text += string_with_format("%c%02u", time.drop_frame ? ';' : ':', time.frames);
    }
    return text;
}

std::string string_encode_base64(unsigned char const* bytes, unsigned long long count) {
    std::string text;
    text.reserve(static_cast<std::size_t>((count + 2) / 3 * 4));
    for (unsigned long long i = 0; i < count; i += 3) {
        unsigned int group = 0;
        for (unsigned long long j = i; j < i + 3; ++j) {
            // Missing bytes of the last group count as 0; their digits become padding below.
            group = (group << 8U) | (j < count ? bytes[j] : 0U);
        }
        for (unsigned int const shift : {18U, 12U, 6U, 0U}) {
            text += base64_digit(group >> shift);
        }
    }
    auto const padding = static_cast<std::size_t>((3 - count % 3) % 3);
    text.replace(text.size() - padding, padding, padding, '=');
    return text;
}

}  // namespace morbase
