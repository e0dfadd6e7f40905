// Shared by the fuzz targets: their input as text, and the report of a broken rule.

#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace fuzz {

inline std::string text_of(std::uint8_t const* data, std::size_t size) {
    return {data, data + size};
}

// The parts of a text between separators; n separators make n + 1 parts.
inline std::vector<std::string> parts_of(std::string const& text, char separator) {
    std::vector<std::string> parts(1);
    for (char const c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

// Ends the process unless the rule holds, so that the fuzzer keeps the input.
inline void require(bool holds, char const* rule) {
    if (!holds) {
        std::fprintf(stderr, "broken rule: %s\n", rule);
        std::abort();
    }
}

}  // namespace fuzz

#endif
