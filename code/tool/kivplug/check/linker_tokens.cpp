#include "linker_tokens.h"

#include <sys/auxv.h>

#include <array>
#include <string_view>

namespace kivplug {

namespace {

constexpr char const* k_name_characters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";

// The token that begins at the dollar sign; empty when none does.
std::string_view token_at(std::string_view text) {
    static constexpr std::array<std::string_view, 6> k_tokens = {
        "${ORIGIN}", "${LIB}", "${PLATFORM}", "$ORIGIN", "$LIB", "$PLATFORM"};
    for (auto const& token : k_tokens) {
        bool const is_there = text.substr(0, token.size()) == token;
        if (is_there && (token.back() == '}' ||
                         text.find_first_of(k_name_characters, token.size()) != token.size())) {
            return token;
        }
    }
    return "";
}

std::string value_of(std::string_view token, std::string const& origin,
                     std::string const& library_directory) {
    if (token.find("ORIGIN") != std::string_view::npos) {
        return origin;
    }
    if (token.find("LIB") != std::string_view::npos) {
        return library_directory;
    }
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how the kernel hands over a string
    auto const* const platform = reinterpret_cast<char const*>(getauxval(AT_PLATFORM));
    return platform != nullptr ? platform : "";
}

}  // namespace

std::string token_in(std::string const& path) {
    for (auto at = path.find('$'); at != std::string::npos; at = path.find('$', at + 1)) {
        auto const token = token_at(std::string_view(path).substr(at));
        if (!token.empty()) {
            return std::string(token);
        }
    }
    return "";
}

std::string with_tokens_replaced(std::string const& text, std::string const& origin,
                                 std::string const& library_directory) {
    std::string replaced;
    for (std::size_t at = 0; at < text.size();) {
        auto const token = token_at(std::string_view(text).substr(at));
        replaced += token.empty() ? text.substr(at, 1) : value_of(token, origin, library_directory);
        at += token.empty() ? 1 : token.size();
    }
    return replaced;
}

}  // namespace kivplug
