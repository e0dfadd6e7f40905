#include "utf8_text.h"

#include <iconv.h>
#include <strings.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include <morbase/es.h>
#include <morbase/text.h>

namespace kivsys::xml {

namespace {

using namespace std::string_view_literals;

constexpr char const* k_source = "code/lib/kivsys/src/utf8_text";
constexpr std::string_view k_byte_order_mark = "\xef\xbb\xbf";
constexpr char const* k_blanks = " \t\r\n";

bool starts_with(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

std::string without_mark(std::string text) {
    if (starts_with(text, k_byte_order_mark)) {
        text.erase(0, k_byte_order_mark.size());
    }
    return text;
}

struct close_converter {
    void operator()(void* open) const noexcept { iconv_close(open); }
};
using converter = std::unique_ptr<void, close_converter>;

// Null when the platform does not know the encoding.
converter converter_from(std::string const& encoding) {
    iconv_t opened = iconv_open("UTF-8", encoding.c_str());
    // The platform gives -1 for none.
    if (reinterpret_cast<std::intptr_t>(opened) != -1) {
        return converter(opened);
    }
    if (errno == ENOMEM) {
        throw std::bad_alloc();
    }
    return nullptr;
}

[[noreturn]] void refuse(std::string const& encoding, std::size_t byte) {
    morbase::es::arg::raise(
        k_source, __LINE__,
        morbase::string_with_format("byte %zu of the document is not valid in its encoding, %s",
                                    byte, encoding.c_str())
            .c_str());
}

// The text in UTF-8; nothing when the platform does not know the encoding.
std::optional<std::string> converted(std::string text, std::string const& encoding) {
    converter const open = converter_from(encoding);
    if (!open) {
        return std::nullopt;
    }
    std::string whole;
    std::array<char, 4096> block{};
    char* from = text.data();
    std::size_t left = text.size();
    for (bool is_last = false; !is_last;) {
        is_last = left == 0;  // the last call gives what the converter held back
        char* to = block.data();
        std::size_t room = block.size();
        bool const failed =
            iconv(open.get(), is_last ? nullptr : &from, &left, &to, &room) == std::size_t(-1);
        if (failed && errno != E2BIG) {
            refuse(encoding, text.size() - left);
        }
        whole.append(block.data(), block.size() - room);
    }
    return whole;
}

// A document in one of these encodings says so by its first bytes. All others but EBCDIC spell
// ASCII characters as ASCII does.
constexpr std::pair<std::string_view, char const*> k_wide[] = {
    {"\xff\xfe"sv, "UTF-16LE"}, {"\xfe\xff"sv, "UTF-16BE"}, {"<\0?\0"sv, "UTF-16LE"},
    {"\0<\0?"sv, "UTF-16BE"},   {"<\0\0\0"sv, "UCS-4LE"},   {"\0\0\0<"sv, "UCS-4BE"},
};

// The declaration names one of many variants. It can itself be read in any of them.
constexpr char const* k_any_ebcdic = "IBM037";
constexpr std::string_view k_start_in_ebcdic = "\x4c\x6f\xa7\x94";
constexpr std::string_view k_end_in_ebcdic = "on";  // the bytes that are "?>" there

// The part of an XML declaration that declares the encoding.
struct declared_encoding {
    std::size_t first = 0;
    std::size_t size = 0;  // 0 when there is none
    std::string name{};    // empty when it has no form that a declaration can have
};

declared_encoding find_declared(std::string_view text) {
    std::string_view const declaration = text.substr(0, text.find("?>"));
    std::size_t const first = declaration.find("encoding");
    if (!starts_with(text, "<?xml") || first == std::string_view::npos) {
        return {};
    }
    std::size_t const equals = declaration.find_first_not_of(k_blanks, first + 8);
    if (equals == std::string_view::npos || declaration[equals] != '=') {
        return {};
    }
    std::size_t const quote = declaration.find_first_of(R"('")", equals + 1);
    std::size_t const end =
        quote == std::string_view::npos ? quote : declaration.find(declaration[quote], quote + 1);
    if (end == std::string_view::npos) {
        return {};
    }
    return {first, end + 1 - first, std::string(declaration.substr(quote + 1, end - quote - 1))};
}

bool is_utf8(std::string const& encoding) {
    return strcasecmp(encoding.c_str(), "UTF-8") == 0 || strcasecmp(encoding.c_str(), "UTF8") == 0;
}

std::string wide_encoding_of(std::string_view text) {
    for (auto const& [first_bytes, encoding] : k_wide) {
        if (starts_with(text, first_bytes)) {
            return encoding;
        }
    }
    return {};
}

}  // namespace

std::string utf8_text(std::string text) {
    text = without_mark(std::move(text));
    bool const is_ebcdic = starts_with(text, k_start_in_ebcdic);
    std::string const from_ebcdic =
        is_ebcdic ? converted(text.substr(0, text.find(k_end_in_ebcdic)), k_any_ebcdic).value_or("")
                  : std::string();
    std::string_view const head = is_ebcdic ? from_ebcdic : text;
    declared_encoding const declared = find_declared(head);
    std::string encoding = wide_encoding_of(text);
    if (encoding.empty()) {
        encoding = declared.name.empty() && is_ebcdic ? k_any_ebcdic : declared.name;
    }
    if (encoding.empty() || (is_utf8(encoding) && !is_ebcdic)) {
        return text;
    }
    std::string whole = without_mark(converted(text, encoding).value_or(""));
    declared_encoding const spelled = find_declared(whole);
    if (whole.empty() || (declared.size != 0 && spelled.size == 0)) {
        return std::string(head.substr(0, declared.first + declared.size)) + "?>";
    }
    whole.replace(spelled.first, spelled.size, spelled.size, ' ');
    return whole;
}

}  // namespace kivsys::xml
